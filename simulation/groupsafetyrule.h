#pragma once

#include "simulation/grouprule.h"

/// On each phase the stations together may never be drawing more than there is for the group, whatever was
/// lost, and whoever may fall back at any time. Where the fallbacks by themselves are more than that, it
/// holds while nothing is wrong and everybody is led.
class CGroupSafetyRule final : public CGroupRule {
 public:
  /// Where the fallbacks do not fit.
  static constexpr Milliseconds kAllLed{30000};
  /// A line has a checksum of eight bits, so that now and then a damaged limit is taken for a good one. It is
  /// over with the next limit.
  static constexpr Milliseconds kDamaged{5000};

  explicit CGroupSafetyRule(Report report)
      : CGroupRule("the supply is enough for all that may be drawn", std::move(report)) {}

  void OnChange(const SGroupMoment& moment, MediumStation /*number*/) override { Check(moment); }
  void OnSecond(const SGroupMoment& moment) override { Check(moment); }

 private:
  void Check(const SGroupMoment& moment);

  static bool IsBroken(const SGroupMoment& moment);

  Milliseconds mHeldUntil{0};
  Milliseconds mNoisyUntil{0};
  bool mIsTold = false;
};
