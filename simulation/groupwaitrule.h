#pragma once

#include <vector>

#include "simulation/grouprule.h"

/// A vehicle that wants current at a station that the leader can reach gets the least current within as many
/// turns as there are such vehicles, as long as there is that much for it.
class CGroupWaitRule final : public CGroupRule {
 public:
  static constexpr Milliseconds kTurn{15 * 60 * 1000};
  static constexpr Milliseconds kMargin{2 * 60 * 1000};

  explicit CGroupWaitRule(Report report)
      : CGroupRule("nobody waits for longer than their turns", std::move(report)) {}

  void OnSecond(const SGroupMoment& moment) override;

 private:
  struct SWait {
    Milliseconds since{0};
    std::uint32_t most = 0;  ///< that wanted current at once meanwhile
    bool isBroken = false;
  };
  std::vector<SWait> mWaits;
};
