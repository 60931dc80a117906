#pragma once

#include <deque>

#include "simulation/dayrule.h"

/// The phases of the setpoint do not change in one run of solar charging and back in the next, and at most so
/// often within any hour while solar charging goes on.
///
/// Only solar charging changes them, in a run of 20 s, by a surplus F that is filtered: each run moves F
/// towards the surplus s by (runs since the limit was last set) / 60 of the way. It sets the limit in every
/// run in which s is enough for charging, so over N runs these weights add up to N / 60 at most.
///
/// From three phases to one F goes below T1 = (18 A - offset) U, and 1 kW is taken off it; back to three it
/// must be above T3 = (18 A - offset / 3) U, and 1 kW is added. With offsets from -1 A on, and 5 V between
/// the U of the two decisions, F has at least 1 kW - 153 W - 90 W = 757 W to go each time.
/// - Upwards: a roof of at most 10 kW gives s - F <= 10 kW - (19 A * 230 V - 1 kW) = 6.63 kW where the way is
///   shortest, so 60 * 757 W / 6.63 kW = 6.9: at least 7 runs. With larger offsets T3 - T1 grows faster than
///   s - F: 60 * 1 kW / 6.86 kW = 8.7 with none, and 15 with 8 A.
/// - Downwards: a household that takes all of a fuse of 40 A draws F by (5.1 + 27.6) kW / 60 = 545 W in a
/// run:
///   at least 2 runs.
/// So there and back takes 9 runs of 20 s at least: 20 times an hour, 40 changes, and one more at the edge.
/// (Meters that do not measure at one moment may show a change of the vehicle's power as surplus, if it comes
/// within the 2.5 s before a run: 22 kW / 60 = 367 W once, which makes one way shorter and not two runs one.)
///
/// When charging begins or ends, when settings change and when a meter fails or recovers the phases are
/// chosen anew, which is one change, and the next may follow at once: two more for each of these.
class CPhaseSwitchRule final : public CDayRule {
 public:
  static constexpr std::size_t kMostPerHour = 41;
  static constexpr std::size_t kMorePerBeginning = 2;
  /// From one run to the one after the next.
  static constexpr Milliseconds kLeastApart{40000};

  explicit CPhaseSwitchRule(Report report)
      : CDayRule("the number of phases does not change too often", std::move(report)) {}

  void OnSetpoint(Milliseconds at, std::uint32_t milliAmpere, std::uint32_t phases) override;
  void OnMoment(const SStationMoment& moment, const SDaySituation& situation) override;

 private:
  using Times = std::deque<Milliseconds>;

  void CheckDistance(const SStationMoment& moment, const SDaySituation& situation);

  Times mSwitches;    ///< within the last hour
  Times mBeginnings;  ///< likewise
  std::uint32_t mSetpoint = 0;
  std::uint32_t mPhases = 0;
  std::uint32_t mInterventions = 0;
  Milliseconds mChecked = -kLeastApart;  ///< the newest switch that was looked at
  bool mWasCharging = false;             ///< from the sun, as far as that allows it, after that
};
