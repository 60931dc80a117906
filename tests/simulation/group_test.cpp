#include <map>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "simulation/grouprun.h"
#include "simulation/lightstation.h"
#include "support/lyingstation.h"

namespace {

using namespace GroupEvents;
using namespace std::chrono_literals;
using testing::AllOf;
using testing::Each;
using testing::Ge;
using testing::Le;

std::unique_ptr<IGroupStation> CreateLight(SGroupPlace place) {
  return std::make_unique<CLightStation>(std::move(place));
}

std::string Broken(const CGroupRun::SOutcome& outcome) {
  std::string text;
  for (const SGroupViolation& violation : outcome.violations)
    text += fmt::format("at {} ms: {}: {}\n", violation.at.count(), violation.rule, violation.figures);
  return text;
}

TEST(Groups, HoldTheirRulesWhateverHappens) {
  std::uint64_t changes = 0;
  for (std::uint64_t seed = 5001; seed <= 5024; ++seed) {
    const CLogCapture log(Log::ELogLevel::Critical);
    const SGroupPlan plan = SGroupPlan::Make(seed, 10min);
    const auto outcome = CGroupRun(plan, CreateLight, {}).Play();
    EXPECT_EQ(Broken(outcome), "") << "grouptrials --minutes 10 --told --seed " << seed << ": "
                                   << plan.Summary();
    changes += outcome.totals.limitChanges;
  }
  EXPECT_GT(changes, 600U) << "or the trials show nothing";
}

/// A group that is made up by a test.
class GroupTest : public testing::Test {
 protected:
  using Limits = std::vector<std::uint32_t>;

  void Stations(std::uint32_t count, std::uint32_t capacityAmpere, std::uint32_t fallbackAmpere = 0) {
    for (std::uint32_t i = 0; i < count; ++i)
      mPlan.stations.push_back({.serialNumber = fmt::format("12-34-ABC-{:03d}", i),
                                .fallbackAmpere = i == 0 ? 0 : fallbackAmpere});
    mPlan.groupSize = count;
    mPlan.capacityAmpere = capacityAmpere;
    for (MediumStation number = 1; number <= count; ++number) At(0s, SPower{.station = number});
  }
  void At(Milliseconds at, const What& what) { mPlan.events.push_back({at, what}); }
  void Plug(Milliseconds at, MediumStation number, const CVehicle::SProperties& vehicle = {}) {
    At(at, SPlug{.station = number, .vehicle = vehicle});
  }
  CGroupRun::SOutcome Play(Milliseconds length, const GroupStationCreator& create = CreateLight) {
    mPlan.length = length;
    std::ranges::stable_sort(mPlan.events, {}, &SGroupEvent::at);
    CGroupRun::SObservers observers;
    observers.moment = [this](const SGroupMoment& moment) {
      for (std::size_t i = 0; i < moment.stations.size(); ++i) {
        mLimits[static_cast<MediumStation>(i + 1)].push_back(moment.stations[i].limitMilliAmpere);
        mDrawn[static_cast<MediumStation>(i + 1)].push_back(moment.stations[i].drawn[0]);
      }
      if (mOnMoment) mOnMoment(moment);
    };
    return CGroupRun(mPlan, create, observers).Play();
  }
  /// Of each second of that time.
  static Limits Of(const Limits& each, std::chrono::seconds from, std::chrono::seconds until) {
    const auto at = [&each](std::chrono::seconds time) {
      return each.begin() + static_cast<std::ptrdiff_t>(time.count());
    };
    return {at(from), at(until)};
  }
  static Limits Largest(const Limits& one, const Limits& other) {
    Limits largest = one;
    for (std::size_t i = 0; i < one.size(); ++i) largest[i] = std::max(one[i], other[i]);
    return largest;
  }

  CLogCapture mLog{Log::ELogLevel::Warning};
  SGroupPlan mPlan;
  std::map<MediumStation, Limits> mLimits;  ///< mA, of each second
  std::map<MediumStation, Limits> mDrawn;   ///< on R
  std::function<void(const SGroupMoment&)> mOnMoment;
};

TEST_F(GroupTest, ALackOfCurrentStopsOneOfTwo) {
  Stations(2, 14);
  Plug(0s, 1);
  Plug(0s, 2);
  At(180s, SCapacity{.ampere = 11});
  EXPECT_EQ(Broken(Play(600s)), "");
  EXPECT_THAT(Of(mLimits[1], 120s, 180s), Each(7000U));
  EXPECT_THAT(Of(mLimits[2], 120s, 180s), Each(7000U));
  EXPECT_THAT(Of(Largest(mLimits[1], mLimits[2]), 180s, 600s), Each(Ge(6000U))) << "never both of them";
  EXPECT_THAT(Of(Largest(mLimits[1], mLimits[2]), 300s, 600s), Each(11000U)) << "and one gets it all";
}

TEST_F(GroupTest, WhatIsGrantedCountsBeforeItIsDrawn) {
  Stations(2, 20);
  Plug(0s, 1);
  Plug(180s, 2, {.reaction = 20s});
  bool wasGrantedAlone = false;
  mOnMoment = [&wasGrantedAlone](const SGroupMoment& moment) {
    const auto& [one, two] = std::tie(moment.stations[0], moment.stations[1]);
    EXPECT_LE(one.limitMilliAmpere + two.limitMilliAmpere, 20000U);
    wasGrantedAlone = wasGrantedAlone || (two.IsServed() && two.vehicle && two.drawn[0] == 0);
  };
  EXPECT_EQ(Broken(Play(400s)), "");
  EXPECT_TRUE(wasGrantedAlone);
  EXPECT_THAT(Of(mDrawn[2], 300s, 400s), Each(10000U));
}

TEST_F(GroupTest, OneThatDrawsMoreThanItMayIsCountedWithIt) {
  Stations(3, 32, 6);
  Plug(0s, 1);
  Plug(0s, 2, {.maxMilliAmpere = 32000, .excessPercent = 100});
  Plug(0s, 3);
  int overloaded = 0;  // s
  mOnMoment = [&overloaded](const SGroupMoment& moment) {
    std::uint32_t drawn = 0;
    for (const auto& station : moment.stations) drawn += station.drawn[0];
    if (moment.at > 120s && drawn > 32000) ++overloaded;
  };
  Play(400s);
  EXPECT_EQ(overloaded, 0);
  EXPECT_THAT(Of(mDrawn[1], 200s, 400s), Each(Ge(6000U)));
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Warning), testing::Contains(testing::HasSubstr("draws")));
}

TEST_F(GroupTest, VehiclesThatFollowSlowlyMakeNothingSwing) {
  Stations(3, 40);
  for (MediumStation number = 1; number <= 3; ++number)
    Plug(number * 10s, number, {.maxMilliAmpere = 32000, .reaction = 26s, .rampMilliAmperePerSecond = 1000});
  EXPECT_EQ(Broken(Play(1h)), "");
  for (MediumStation number = 1; number <= 3; ++number)
    EXPECT_THAT(Of(mLimits[number], 200s, 3600s), Each(AllOf(Ge(13000U), Le(13400U)))) << number;
}

TEST_F(GroupTest, HardlyAnyCapacityIsNoneAndComesBack) {
  Stations(2, 20);
  Plug(0s, 1);
  Plug(0s, 2);
  std::map<MediumStation, IGroupStation*> stations;
  const auto create = [&stations](SGroupPlace place) {
    const MediumStation number = place.number;
    auto station = CreateLight(std::move(place));
    stations[number] = station.get();
    return station;
  };
  const std::vector<Json::Value> wrong{0, -5, std::numeric_limits<double>::quiet_NaN(), 5, Json::Value()};
  mOnMoment = [&](const SGroupMoment& moment) {
    Json::Value values;
    values["GroupLoadBalancingMaxCurrent"] = 20;
    const auto step = static_cast<std::size_t>(moment.at / 100s);
    if (step % 2 == 1) values["GroupLoadBalancingMaxCurrent"] = wrong.at(step / 2);
    if (moment.at % 100s == 0s && step / 2 < wrong.size()) stations[1]->ChangeSettings(values);
  };
  Play(1000s, create);
  for (std::size_t i = 0; i < wrong.size(); ++i) {
    const auto from = 100s + 200s * static_cast<std::int64_t>(i);
    EXPECT_THAT(Of(Largest(mLimits[1], mLimits[2]), from + 25s, from + 99s), Each(0U)) << i;
    EXPECT_THAT(Of(mLimits[1], from - 10s, from), Each(10000U)) << i;
  }
}

/// What a follower answers that is honest, but for what it draws.
SLbMessage Answer(const LbSerialNumber& name, const SLbMessage& request, std::uint32_t drawn = 0) {
  switch (static_cast<ELbMessage>(request.Id())) {
    case ELbMessage::Discovery:
      return LbMessages::DiscoveryAnswer(name);
    case ELbMessage::InfoRequest:
      return LbMessages::InfoAnswer(name);
    case ELbMessage::FallbackRequest:
      return LbMessages::FallbackAnswer(name, 0);
    case ELbMessage::LimitRequest:
      return LbMessages::Write(
          LbMessages::SLimitAnswer{.serialNumber = name, .load = {.milliAmpere = {drawn, drawn, drawn}}});
    default:
      return {};
  }
}

TEST_F(GroupTest, NobodySuffersFromOneThatLies) {
  constexpr LbSerialNumber kOther{12, 34, 7, 7, 7, 7};
  const LbSerialNumber honest = ToLbSerialNumber("12-34-ABC-001").value();
  std::uint8_t counter = 0;
  const std::vector<CLyingStation::Lie> lies{
      [](const auto& own, const auto& request) { return Answer(own, request, 4000000000); },
      [&](const auto&, const auto& request) {  // another name each time
        return Answer({12, 34, ++counter, 0, 0, 0}, request);
      },
      [&](const auto&, const auto& request) { return Answer(honest, request); },
      [&](const auto& own, const auto& request) {  // says one name, and goes by another
        return Answer(request.Id() == 0x22 ? own : kOther, request);
      }};
  for (const auto& lie : lies) {
    mPlan = {};
    mLimits.clear();
    Stations(3, 20);
    Plug(0s, 1);
    Plug(0s, 2);
    const auto outcome = Play(300s, [&](SGroupPlace place) -> std::unique_ptr<IGroupStation> {
      if (place.number != 3) return CreateLight(std::move(place));
      return std::make_unique<CLyingStation>(std::move(place), lie);
    });
    EXPECT_THAT(Broken(outcome), testing::Not(testing::ContainsRegex("the supply is|without end")));
    const auto which = &lie - lies.data();
    EXPECT_THAT(Of(mLimits[1], 150s, 300s), Each(Ge(6000U))) << which;
    // Whose name was taken cannot be told from who has taken it.
    EXPECT_THAT(Of(mLimits[2], 150s, 300s), Each(Ge(which == 2 ? 0U : 6000U))) << which;
  }
}

TEST_F(GroupTest, AsManyAreLedAsThereIsRoomForAndTheOthersAreCounted) {
  Stations(121, 500, 2);
  std::size_t led = 0;
  mOnMoment = [&led](const SGroupMoment& moment) {
    led = static_cast<std::size_t>(
        std::ranges::count_if(moment.stations, [](const auto& station) { return station.isLed; }));
  };
  for (const SGroupViolation& violation : Play(40s).violations)
    EXPECT_EQ(violation.rule, "the group finds together again");
  EXPECT_EQ(led, 100U) << "99 and the leader";
  const auto warnings = mLog.Texts(Log::ELogLevel::Warning);
  EXPECT_EQ(
      std::ranges::count_if(
          warnings, [](const auto& text) { return text.starts_with("A group has at most 99 stations"); }),
      1);
}

}  // namespace
