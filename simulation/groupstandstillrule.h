#pragma once

#include "simulation/grouprule.h"

/// While there is the least current for one of those who want it, one station may take it: at scarcity they
/// are never stopped all together, except for the moment in which a turn passes from one to another. It may
/// be one at which nobody can know that there is no vehicle.
class CGroupStandstillRule final : public CGroupRule {
 public:
  /// Since which there has been something to share, nobody has come, and the way to them was there.
  static constexpr Milliseconds kSettled{60000};
  /// Besides what the slowest vehicle takes to stop.
  static constexpr Milliseconds kHandOver{10000};
  static constexpr Milliseconds kHandOverInTrouble{30000};

  explicit CGroupStandstillRule(Report report)
      : CGroupRule("scarcity never stops everybody", std::move(report)) {}

  void OnSecond(const SGroupMoment& moment) override;

 private:
  static Milliseconds HandOver(const SGroupMoment& moment);
  bool IsEverybodyStopped(const SGroupMoment& moment) const;

  Milliseconds mRunningUntil{0};
  bool mIsBroken = false;
};
