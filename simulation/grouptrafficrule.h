#pragma once

#include <functional>
#include <utility>

#include "simulation/grouprule.h"

/// Stations do not talk without end: a group that does drowns whatever else goes over its medium. It is cut
/// off then, since otherwise time might never pass on a medium without delay.
class CGroupTrafficRule final : public CGroupRule {
 public:
  /// In each second.
  static constexpr std::uint32_t kMostPerStation = 40;
  static constexpr Milliseconds kSpan{1000};

  CGroupTrafficRule(Report report, std::function<void()> cutOff)
      : CGroupRule("the group does not talk without end", std::move(report)), mCutOff(std::move(cutOff)) {}

  void OnMessage(const SGroupMoment& moment) override;

 private:
  const std::function<void()> mCutOff;
  Milliseconds mSince{0};
  std::uint32_t mMessages = 0;  ///< since then
};
