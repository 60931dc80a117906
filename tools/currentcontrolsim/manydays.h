#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include <json/value.h>

#include "tools/currentcontrolsim/simulatedrun.h"

/// What many days come to. Tells of each that broke a rule when it is over, with the command that plays it
/// again. One thread.
class CManyDays {
 public:
  CManyDays(std::uint64_t count, std::ostream& news, bool isTerminal)
      : mCount(count), mNews(news), mIsTerminal(isTerminal) {}

  void Add(std::uint64_t seed, const SSimulatedRun& run);

  bool IsGood() const { return mBroken.empty(); }
  /// For people; ends with a line end.
  std::string ToText() const;
  /// For programs.
  Json::Value ToJson() const;

 private:
  void ShowProgress();

  const std::uint64_t mCount;
  std::ostream& mNews;
  const bool mIsTerminal;
  std::uint64_t mDays = 0;
  bool mAreRulesChecked = true;           ///< at every day
  Json::Value mBroken{Json::arrayValue};  ///< the days' numbers, and what did not hold
  SRunTotals mTotal;
  std::uint64_t mHottest = 0;  ///< the day of the highest heat
};
