#pragma once

#include <array>
#include <deque>
#include <optional>

#include "simulation/dayrule.h"

/// A vehicle that draws too much of a steady setpoint is stopped in time: more than 1.1 times after 1200 s,
/// than 1.2 times after 30 s, than 1.25 times after 5 s. To that comes 1 s until the station's meter has
/// measured it, and five checks, one per second, until nothing else is left in their average: the last of
/// them is no later than 6 s after the beginning.
///
/// A setpoint is what may be drawn at once when it rises; when it falls, the higher one counts for 10 s more.
/// What may be drawn must not change meanwhile, and the station's meter must be heard.
class COvercurrentRule final : public CDayRule {
 public:
  explicit COvercurrentRule(Report report)
      : CDayRule("who draws too much is stopped in time", std::move(report)) {}

  void OnSetpoint(Milliseconds at, std::uint32_t milliAmpere, std::uint32_t phases) override;
  void OnMoment(const SStationMoment& moment, const SDaySituation& situation) override;

 private:
  struct SFormer {
    std::uint32_t milliAmpere;
    Milliseconds until;
  };

  std::uint32_t Tolerated(Milliseconds at);

  /// Before the first one a vehicle may have had any other.
  std::uint32_t mSetpoint = CVehicle::kMostMilliAmpere;
  std::deque<SFormer> mFormer;  ///< that still count, falling
  std::uint32_t mTolerated = 0;
  std::array<std::optional<Milliseconds>, 3> mSince;  ///< that too much is drawn, by threshold
};
