#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "src/components/measurementsources/ctmeter.h"

/// A metering chip that may appear late: made when it is initialised, as often as that takes. One thread at a
/// time.
class CDeferredCtMeter final : public ICtMeter {
 public:
  explicit CDeferredCtMeter(CtMeterCreator create) : mCreate(std::move(create)) {}

  /// Why there is no chip is logged once, until the reason changes.
  bool Initialize(std::span<const SCalibration> calibrations,
                  std::span<const std::uint16_t> pgaGains) override;
  std::optional<RmsRegisters> ReadCurrentRms() override;
  bool IsRunning() override;

 private:
  bool Make();

  const CtMeterCreator mCreate;
  std::unique_ptr<ICtMeter> mChip;
  std::string mReason;  // why there is none, as last logged
};
