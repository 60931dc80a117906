#pragma once

#include <deque>

#include "simulation/dayrule.h"

/// The phases of the setpoint do not change in one run of solar charging and back in the next, and not more
/// than 41 times within any hour while it goes on: there and back takes its filter 9 runs of 20 s. Two more
/// are allowed whenever charging begins or ends, settings change and a meter fails or recovers, since phases
/// are chosen anew then. docs/simulation.md derives it.
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
