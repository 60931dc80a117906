#pragma once

#include <vector>

#include "simulation/grouprule.h"

/// In a calm world limits do not go up and down: of a vehicle that wants current they turn at most
/// `kMostPerTurn` times in each turn, and where none draws, which is where it is found out whether one would,
/// at most once in `kOffer`.
class CGroupSteadinessRule final : public CGroupRule {
 public:
  static constexpr Milliseconds kSettled{120000};
  static constexpr Milliseconds kTurn{15 * 60 * 1000};
  static constexpr std::uint32_t kMostPerTurn = 4;
  static constexpr Milliseconds kOffer{30000};
  static constexpr std::uint32_t kFirstOffers = 2;

  explicit CGroupSteadinessRule(Report report)
      : CGroupRule("a calm group does not swing", std::move(report)) {}

  void OnChange(const SGroupMoment& moment, MediumStation number) override;
  void OnSecond(const SGroupMoment& moment) override;

 private:
  struct SStation {
    std::uint32_t limit = 0;  ///< mA
    bool isRising = false;
    bool hasChanged = false;
    std::uint32_t turns = 0;  ///< from rising to falling and back
    bool isBroken = false;
  };
  std::vector<SStation> mStations;
  Milliseconds mCalmSince{0};
};
