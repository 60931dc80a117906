#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "simulation/dayrule.h"

/// With a surplus that stays at or above the threshold of the settings, solar charging lets the vehicle
/// charge in time; with one that stays below it, it has it stop in time.
///
/// A run of every 20 s looks at the surplus. The first that finds it is at most 20 s away and notes when; the
/// limit changes in the first run after that in which the threshold's time has passed, in the next one at
/// least: 20 s + max(20 s, time rounded up to 20 s). What it looks at is a sample of the house's meter, at
/// most 1250 ms old, of a reading at most as old, and a reading of the station's meter, at most 1 s old. So a
/// surplus counts as staying on one side when the vehicle's power and the house's within the last 3 s,
/// however they are put together, give that, with 2 V to spare between the phases and 20 W for whole watts.
///
/// The time begins anew when settings change and when a meter fails, until it can be read again.
class CSolarRule final : public CDayRule {
 public:
  enum class EKind { Starts, Stops };

  CSolarRule(EKind kind, Report report);

  void OnMoment(const SStationMoment& moment, const SDaySituation& situation) override;

 private:
  /// Moments of the last 3 s.
  static constexpr std::size_t kSeen = 4;
  struct SPowers {
    std::int32_t vehicleWatt = 0;
    std::int32_t gridWatt = 0;
    std::int32_t doubtWatt = 0;  ///< by which the vehicle's power may be taken for another one
  };

  void Note(const SStationMoment& moment);
  bool IsDecided(std::int32_t thresholdWatt) const;
  Milliseconds Allowed(const SDaySettings::SThresholds& thresholds) const;

  const EKind mKind;
  std::array<SPowers, kSeen> mPowers{};
  std::size_t mNoted = 0;
  std::uint32_t mSettingsChanges = 0;
  std::optional<Milliseconds> mSince;
};
