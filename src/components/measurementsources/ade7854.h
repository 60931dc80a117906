#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include "src/components/measurementsources/ctmeter.h"
#include "src/components/measurementsources/meterattribute.h"

namespace Hal {

/// The metering chip through the attributes of its kernel driver; docs/metering-chip.md says what that one
/// must offer. A condition that lasts is logged once, however often it is met.
class CAde7854 final : public ICtMeter {
 public:
  /// Throws MeterException, naming the path, when an attribute that is always needed cannot be opened.
  explicit CAde7854(const std::filesystem::path& root);

  /// Makes the chip below that root.
  static CtMeterCreator Creator(std::filesystem::path root);

  /// Opens the attributes anew: a driver that was loaded again offers others under the same names.
  bool Initialize(std::span<const SCalibration> calibrations,
                  std::span<const std::uint16_t> pgaGains) override;
  /// As the registers are, also above what 24 bits hold. Nothing from a chip that stands still.
  std::optional<RmsRegisters> ReadCurrentRms() override;
  bool IsRunning() override;

 private:
  struct SPhase {
    CMeterAttribute currentRms;
    CMeterAttribute currentGain;
    CMeterAttribute voltageGain;
    CMeterAttribute voltageRmsOffset;
    CMeterAttribute currentRmsOffset;
  };
  /// The contents of a phase's registers.
  struct SCorrection {
    std::uint32_t currentGain = 0;
    std::uint32_t voltageGain = 0;
    std::uint32_t voltageRmsOffset = 0;
    std::uint32_t currentRmsOffset = 0;
  };
  /// What the chip is given, to be found in it again.
  struct SConfiguration {
    std::array<SCorrection, 3> corrections{};
    std::size_t phases = 0;
    std::uint32_t pgaCode = 0;
    std::optional<std::uint32_t> checksum;
  };

  static SConfiguration ConfigurationOf(std::span<const SCalibration> calibrations,
                                        std::span<const std::uint16_t> pgaGains);
  static SCorrection CorrectionOf(const SCalibration& calibration, std::size_t phase);

  // All of these throw MeterException.
  void Open();
  void Configure(const SConfiguration& configuration);
  void Check(const SConfiguration& configuration) const;

  const std::filesystem::path mFolder;
  std::array<SPhase, 3> mPhases;
  CMeterAttribute mPgaGain;
  CMeterAttribute mRun;
  CMeterAttribute mReset;
  CMeterAttribute mChecksum;

  /// Nothing until initialised.
  std::optional<SConfiguration> mConfiguration;

  // What was logged last and still holds; empty when all is well.
  std::string mUnusable;
  std::string mNotRunning;
  bool mUnreadable = false;
};

}  // namespace Hal
