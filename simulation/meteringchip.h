#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>

#include "platform/utility/mutex.h"
#include "simulation/vehicle.h"

/// The metering chip, an ADE7854, as its registers: what it is told, and the currents that it measures behind
/// its transformers. It can lose its configuration, its readings or itself. Any thread.
class CMeteringChip {
 public:
  using Currents = CVehicle::Currents;  ///< mA on L1 to L3
  /// Root-mean-square current registers of L1 to L3.
  using RmsRegisters = std::array<std::uint32_t, CVehicle::kPhases>;

  /// The RMS register when the converter is at its end, without correction.
  static constexpr std::uint32_t kFullScale = 4191910;
  static constexpr double kFullScaleVolt = 0.5;  ///< peak, at the pin, with a gain of 1
  /// The board's burden of 4.4 ohm behind each transformer, by the square root of two from peak to RMS.
  static constexpr double kBurdenOhm = 6.22254;
  static constexpr double kUsualTurnsRatio = 3000;

  /// Contents as they stand in 24-bit registers, signed ones as two's complement.
  struct SPhase {
    std::uint32_t currentGain = 0;
    std::uint32_t voltageGain = 0;
    std::uint32_t voltageRmsOffset = 0;
    std::uint32_t currentRmsOffset = 0;
    bool operator==(const SPhase&) const = default;
  };
  /// What a reset puts back.
  struct SConfiguration {
    std::uint32_t pgaCodes = 0;  ///< bits 0 to 2: those of the phase currents; 0 to 4 for 1, 2, 4, 8, 16
    std::array<SPhase, CVehicle::kPhases> phases{};
    std::uint32_t run = 0;  ///< 1: it measures
    bool operator==(const SConfiguration&) const = default;
  };

  /// `transformers` tells the currents that they see; it is called without a lock.
  explicit CMeteringChip(std::function<Currents()> transformers, double turnsRatio = kUsualTurnsRatio);

  bool IsPresent() const;
  /// Nothing, as everything below, while the chip is away.
  std::optional<SConfiguration> Configuration() const;
  /// False: it is away or refuses.
  bool Configure(const SConfiguration& configuration);
  std::optional<RmsRegisters> ReadCurrentRms() const;

  /// As after a dip of its supply, or when told to.
  void Reset();
  /// No register can be read or written until it returns, reset.
  void Vanish();
  void Return();
  void RefuseConfiguration(bool refuse);

 private:
  const std::function<Currents()> mTransformers;
  const double mTurnsRatio;
  mutable CMutex mMutex;
  SConfiguration mConfiguration GUARDED_BY(mMutex);
  bool mPresent GUARDED_BY(mMutex) = true;
  bool mRefusing GUARDED_BY(mMutex) = false;
};
