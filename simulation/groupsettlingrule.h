#pragma once

#include <vector>

#include "simulation/grouprule.h"

/// In a calm world, `kSettled` after the last change and what the slowest vehicle takes, what the vehicles
/// get that want current, which is their limit or the less that they can use, does not change any more, as
/// long as there is the least current for every station, so that none has to wait for its turn; and what
/// there is is used: each of these vehicles gets as much as it can use, or some phase that it needs has
/// nothing left, beside what is kept for those who may fall back.
class CGroupSettlingRule final : public CGroupRule {
 public:
  static constexpr Milliseconds kSettled{70000};
  static constexpr std::uint32_t kUnused =
      2000;  ///< mA, that may be left: others have some to spare, to be seen when they take more
  /// While a turn passes from one to another nobody uses it, nor while it is found out what the other can
  /// use: besides what the slowest vehicle takes.
  static constexpr Milliseconds kHandOver{40000};

  explicit CGroupSettlingRule(Report report)
      : CGroupRule("a calm group comes to rest, and uses what there is", std::move(report)) {}

  void OnSecond(const SGroupMoment& moment) override;

 private:
  void CheckRest(const SGroupMoment& moment);
  void CheckUse(const SGroupMoment& moment);
  std::string WhoHasTooLittle(const SGroupMoment& moment) const;

  std::vector<std::uint32_t> mCurrents;  ///< mA, that they get; empty: not settled yet
  bool mAreTurnsTaken = false;           ///< in this calm
  bool mIsRestBroken = false;            ///< likewise
  bool mIsUseBroken = false;
  Milliseconds mUsedUntil{0};
};
