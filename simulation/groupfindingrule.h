#pragma once

#include <vector>

#include "simulation/grouprule.h"

/// A station that the leader can reach is led soon, whatever has happened to either of them, and stays so.
class CGroupFindingRule final : public CGroupRule {
 public:
  static constexpr Milliseconds kFound{30000};
  static constexpr Milliseconds kFoundInNoise{60000};
  /// On a line each station that is not known takes a walk of 48 bits, both ways at each.
  static constexpr Milliseconds kWalk{10000};

  explicit CGroupFindingRule(Report report)
      : CGroupRule("the group finds together again", std::move(report)) {}

  void OnSecond(const SGroupMoment& moment) override;

 private:
  Milliseconds Bound(const SGroupMoment& moment) const;

  std::vector<bool> mIsBroken;
  std::uint32_t mMostLost = 0;  ///< at once, since all were led
};
