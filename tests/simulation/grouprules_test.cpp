#include <gtest/gtest.h>

#include "simulation/groupfindingrule.h"
#include "simulation/groupoverloadrule.h"
#include "simulation/groupsafetyrule.h"
#include "simulation/groupsettlingrule.h"
#include "simulation/groupstandstillrule.h"
#include "simulation/groupsteadinessrule.h"
#include "simulation/grouptrafficrule.h"
#include "simulation/groupwaitrule.h"

namespace {

using namespace std::chrono_literals;
using Seconds = std::vector<std::int64_t>;

/// A rule that is shown a group of two with a vehicle each, and what it found.
template <class TRule>
class CShown {
 public:
  template <class... TArguments>
  explicit CShown(TArguments... arguments)
      : mRule(arguments...,
              [this](const SGroupViolation& violation) { mFound.push_back(violation.at / 1s); }) {
    mMoment.stations.resize(2);
    for (auto& station : mMoment.stations)
      station = {.isPowered = true, .isReachable = true, .isLed = true, .vehicle = CVehicle::SProperties{}};
    mMoment.isWhole = true;
    mMoment.capacity.fill(20000);
    mMoment.planned = mMoment.granted = mMoment.least = mMoment.capacity;
  }

  void Show(std::chrono::seconds span) {
    for (; span > 0s; span -= 1s) {
      mMoment.at += 1s;
      for (MediumStation number = 1; number <= 2; ++number) mRule.OnChange(mMoment, number);
      mRule.OnSecond(mMoment);
    }
  }
  void Give(std::uint32_t one, std::uint32_t two) {
    for (const auto& [index, limit] : {std::pair{0U, one}, std::pair{1U, two}}) {
      mMoment.stations[index].limitMilliAmpere = limit;
      mMoment.stations[index].mayDraw.fill(limit);
    }
    mMoment.mayDraw.fill(one + two);
  }
  Seconds Found() { return std::exchange(mFound, {}); }

  SGroupPlan mPlan;
  SGroupMoment mMoment{.plan = mPlan};

 private:
  Seconds mFound;
  TRule mRule;
};

TEST(GroupRules, SeeASupplyThatIsNotEnough) {
  using EFallbacks = CGroupSafetyRule::EFallbacks;
  CShown<CGroupSafetyRule> fitting(EFallbacks::Fit);
  CShown<CGroupSafetyRule> tooMuch(EFallbacks::AreTooMuch);
  for (CShown<CGroupSafetyRule>* const shown : {&fitting, &tooMuch}) {
    shown->Give(10000, 10000);
    shown->Show(40s);
    shown->mMoment.mayDraw[1] = 20001;
    shown->Show(2s);
    shown->Give(10000, 10000);
    shown->Show(8s);
    shown->mMoment.fallbackMilliAmpere = 20001;
    shown->Give(20000, 10000);
    shown->Show(5s);
  }
  EXPECT_EQ(fitting.Found(), Seconds{41});
  EXPECT_EQ(tooMuch.Found(), Seconds{51});

  CShown<CGroupSafetyRule> damaged(EFallbacks::Fit);
  damaged.mPlan.medium = SGroupPlan::EMedium::Line;
  damaged.mMoment.isNoisy = true;
  damaged.Give(10000, 4000000);
  damaged.Show(4s);
  EXPECT_EQ(damaged.Found(), Seconds{}) << "for a moment a checksum was right by chance";
  damaged.Show(4s);
  EXPECT_EQ(damaged.Found(), Seconds{5});
}

TEST(GroupRules, SeeAnOverload) {
  CShown<CGroupOverloadRule> shown;
  shown.mMoment.stations[0].drawn = {0, 20001, 0};
  shown.Show(16s);
  EXPECT_EQ(shown.Found(), Seconds{}) << "10 s, and 2 s and 16 A at 4 A/s for the vehicle";
  shown.Show(4s);
  EXPECT_EQ(shown.Found(), Seconds{17});
  shown.mMoment.stations[0].drawn = {0, 20000, 0};
  shown.Show(20s);
  EXPECT_EQ(shown.Found(), Seconds{});
}

TEST(GroupRules, SeeWhoWaitsForTooLong) {
  CShown<CGroupWaitRule> shown;
  shown.Give(20000, 5999);
  shown.Show(1920s);
  EXPECT_EQ(shown.Found(), Seconds{}) << "two turns and two minutes";
  shown.Show(100s);
  EXPECT_EQ(shown.Found(), Seconds{1921});
  shown.mMoment.planned[2] = 5999;
  shown.Show(4000s);
  shown.mMoment.planned[2] = 6000;
  shown.mMoment.stations[1].isFull = true;
  shown.Show(4000s);
  EXPECT_EQ(shown.Found(), Seconds{});
}

TEST(GroupRules, SeeStationsThatAreAllStopped) {
  CShown<CGroupStandstillRule> shown;
  shown.Give(20000, 0);
  shown.Show(100s);
  shown.Give(5000, 5000);
  shown.Show(16s);
  EXPECT_EQ(shown.Found(), Seconds{}) << "10 s, and 2 s and 16 A at 4 A/s for the vehicle";
  shown.Show(4s);
  EXPECT_EQ(shown.Found(), Seconds{117});
  shown.Give(0, 6000);
  shown.Show(1s);
  shown.mMoment.capacity.fill(5999);
  shown.mMoment.planned = shown.mMoment.capacity;
  shown.Give(0, 0);
  shown.Show(100s);
  EXPECT_EQ(shown.Found(), Seconds{});
}

TEST(GroupRules, SeeAGroupThatDoesNotSettle) {
  CShown<CGroupSettlingRule> shown;
  shown.Give(10000, 10000);
  shown.Show(81s);
  shown.Give(11000, 9000);
  shown.Show(5s);
  EXPECT_EQ(shown.Found(), Seconds{82});
  shown.mMoment.lastEvent = shown.mMoment.at;
  shown.Give(10000, 8000);
  shown.Show(140s);
  EXPECT_EQ(shown.Found(), Seconds{207}) << "2 A are left";
  shown.mMoment.lastEvent = shown.mMoment.at;
  shown.Give(10000, 8001);
  shown.Show(120s);
  shown.Give(16000, 0);
  shown.Show(60s);
  EXPECT_EQ(shown.Found(), Seconds{}) << "whoever waits takes turns";
}

TEST(GroupRules, SeeAGroupThatSwings) {
  CShown<CGroupSteadinessRule> shown;
  const auto swing = [&shown](int times) {
    for (int i = 0; i < times; ++i) {
      shown.Give(i % 2 == 0 ? 0 : 6000, 6000);
      shown.Show(1s);
    }
  };
  shown.Give(6000, 6000);
  shown.Show(121s);
  swing(4);
  EXPECT_EQ(shown.Found(), Seconds{});
  swing(2);
  EXPECT_EQ(shown.Found(), Seconds{127});
  shown.mMoment.lastEvent = shown.mMoment.at;
  swing(100);
  EXPECT_EQ(shown.Found(), Seconds{}) << "it is not calm";
}

TEST(GroupRules, SeeAStationThatIsNotFound) {
  CShown<CGroupFindingRule> shown;
  shown.Show(100s);
  shown.mMoment.stations[1].isLed = false;
  shown.mMoment.stations[1].reachableSince = 100s;
  shown.Show(40s);
  EXPECT_EQ(shown.Found(), Seconds{131});
  shown.mPlan.medium = SGroupPlan::EMedium::Line;
  shown.mMoment.stations[1].isLed = true;
  shown.Show(1s);
  shown.mMoment.stations[1].isLed = false;
  shown.mMoment.stations[1].reachableSince = 141s;
  shown.Show(60s);
  EXPECT_EQ(shown.Found(), Seconds{182}) << "a walk takes 10 s more";
}

TEST(GroupRules, SeeAGroupThatTalksWithoutEnd) {
  int cuts = 0;
  const CGroupRule::Report report = [&cuts](const SGroupViolation&) { ++cuts; };
  CGroupTrafficRule rule(report, [&cuts] { cuts += 10; });
  SGroupPlan plan;
  SGroupMoment moment{.plan = plan};
  moment.stations.resize(2);
  for (int message = 0; message < 79; ++message) rule.OnMessage(moment);
  EXPECT_EQ(cuts, 0);
  rule.OnMessage(moment);
  EXPECT_EQ(cuts, 11);
}

}  // namespace
