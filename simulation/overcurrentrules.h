#pragma once

#include <array>
#include <deque>
#include <optional>

#include "simulation/dayrule.h"

/// A vehicle that obeys, at or below its new limit within 5 s, is never stopped for drawing too much.
class CObedienceRule final : public CDayRule {
 public:
  explicit CObedienceRule(Report report)
      : CDayRule("a vehicle that obeys is not stopped by overcurrent protection", std::move(report)) {}

  void OnMoment(const SStationMoment& moment, const SDaySituation& situation) override;

 private:
  bool mWasStopped = false;
};

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

/// The apparent power of the phases, from the currents that the station's meter measures at its 230 V, never
/// differs by more than the limit for a minute after the first balancing run that sees it. That run is at
/// most 1 s for the meter and four updates of 1250 ms away, so 66 s in all: the samples of a minute are all
/// above the limit by then, and a run finds their average above it.
class CImbalanceRule final : public CDayRule {
 public:
  static constexpr Milliseconds kLongest{66000};

  explicit CImbalanceRule(Report report)
      : CDayRule("imbalance above the limit lasts less than a minute", std::move(report)) {}

  void OnMoment(const SStationMoment& moment, const SDaySituation& situation) override;

 private:
  std::optional<Milliseconds> mSince;
};
