#pragma once

#include <algorithm>
#include <bit>

#include "simulation/meteringchip.h"
#include "src/components/measurementsources/ade7854attributes.h"
#include "src/components/measurementsources/ctmeter.h"

/// The way to a modelled chip where there are no files: for virtual time.
class CSimulatedCtMeter final : public ICtMeter {
 public:
  /// Throws Hal::MeterException when the chip is away.
  explicit CSimulatedCtMeter(CMeteringChip& chip) : mChip(chip) {
    if (!chip.IsPresent()) throw Hal::MeterException("the metering chip is away");
  }

  bool Initialize(std::span<const SCalibration> calibrations,
                  std::span<const std::uint16_t> pgaGains) override {
    mGiven = {};
    for (std::size_t i = 0; i < std::min(calibrations.size(), mGiven.phases.size()); ++i) {
      mGiven.phases[i] = {Content(calibrations[i].currentGain), Content(calibrations[i].voltageGain),
                          Content(calibrations[i].voltageRmsOffset),
                          Content(calibrations[i].currentRmsOffset)};
    }
    constexpr int kBitsPerGain = 3;
    for (std::size_t i = 0; i < pgaGains.size(); ++i) {
      mGiven.pgaCodes |= static_cast<std::uint32_t>(std::countr_zero(pgaGains[i]))
                         << (kBitsPerGain * static_cast<int>(i));
    }
    mGiven.run = 1;
    return mChip.Configure(mGiven);
  }
  /// Like the real way to it: a chip that stands still measures nothing.
  std::optional<RmsRegisters> ReadCurrentRms() override {
    const auto configuration = mChip.Configuration();
    if (!configuration || configuration->run != mGiven.run) return std::nullopt;
    return mChip.ReadCurrentRms();
  }
  bool IsRunning() override { return mChip.Configuration() == mGiven; }

 private:
  static std::uint32_t Content(std::int32_t value) {
    return static_cast<std::uint32_t>(value) & Hal::Ade7854::kRegisterMask;
  }

  CMeteringChip& mChip;
  CMeteringChip::SConfiguration mGiven;
};
