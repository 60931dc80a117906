#pragma once

#include <vector>

#include "simulation/grouprule.h"

/// In a calm world limits change for turns alone: those of a vehicle that wants current at most
/// `kMostPerTurn` times in each turn, and those that are offered where none draws at most once in `kOffer`.
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
    std::uint32_t changes = 0;
    bool isBroken = false;
  };
  std::vector<SStation> mStations;
  Milliseconds mCalmSince{0};
};
