#pragma once

#include "simulation/grouprule.h"

/// On each phase the stations together may never be drawing more than there is for the group, whatever was
/// lost, and whoever may fall back at any time. Where the fallbacks by themselves are more than that, it
/// holds for what everybody is told, in a calm world in which all are led.
class CGroupSafetyRule final : public CGroupRule {
 public:
  enum class EFallbacks : std::uint8_t { Fit, AreTooMuch };

  static constexpr Milliseconds kAllLed{30000};
  /// A line has a checksum of eight bits, so that now and then a damaged limit is taken for a good one. It is
  /// over with the next limit.
  static constexpr Milliseconds kDamaged{5000};

  CGroupSafetyRule(EFallbacks fallbacks, Report report);

  void OnChange(const SGroupMoment& moment, MediumStation /*number*/) override { Check(moment); }
  void OnSecond(const SGroupMoment& moment) override { Check(moment); }

 private:
  void Check(const SGroupMoment& moment);

  bool Counts(const SGroupMoment& moment) const;

  const EFallbacks mFallbacks;
  Milliseconds mHeldUntil{0};
  Milliseconds mNoisyUntil{0};
  bool mIsTold = false;
};
