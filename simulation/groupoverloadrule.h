#pragma once

#include "simulation/grouprule.h"

/// What the vehicles really draw is not more than there is for the group for longer than the slowest of them
/// takes to follow, as long as the fallbacks by themselves are not more.
class CGroupOverloadRule final : public CGroupRule {
 public:
  static constexpr Milliseconds kMargin{10000};

  explicit CGroupOverloadRule(Report report)
      : CGroupRule("the supply is not overloaded", std::move(report)) {}

  void OnSecond(const SGroupMoment& moment) override;

 private:
  Milliseconds mHeldUntil{0};
  bool mIsTold = false;
};
