#pragma once

#include <vector>

#include "simulation/grouprule.h"

/// In a calm world, `kSettled` after the last change, the limits of vehicles that want current do not change
/// any more, unless turns are taken; and what there is is used: each of these vehicles may take as much as it
/// can, or some phase that it needs has nothing left, beside what is kept for those who may fall back.
class CGroupSettlingRule final : public CGroupRule {
 public:
  static constexpr Milliseconds kSettled{70000};
  static constexpr std::uint32_t kUnused = 1000;  ///< mA, that may be left
  /// While a turn passes from one to another nobody uses it.
  static constexpr Milliseconds kHandOver{30000};

  explicit CGroupSettlingRule(Report report)
      : CGroupRule("a calm group comes to rest, and uses what there is", std::move(report)) {}

  void OnSecond(const SGroupMoment& moment) override;

 private:
  bool IsAnyoneWaiting(const SGroupMoment& moment) const;
  void CheckRest(const SGroupMoment& moment);
  void CheckUse(const SGroupMoment& moment);
  std::string WhoHasTooLittle(const SGroupMoment& moment) const;

  std::vector<std::uint32_t> mLimits;  ///< empty: not settled yet
  bool mIsRestBroken = false;          ///< in this calm
  bool mIsUseBroken = false;
  Milliseconds mUsedUntil{0};
};
