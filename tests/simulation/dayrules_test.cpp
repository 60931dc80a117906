#include <tuple>

#include <gtest/gtest.h>

#include "simulation/obediencerule.h"
#include "simulation/offerafterstoprule.h"
#include "simulation/offeredcurrentrule.h"
#include "simulation/overcurrentrule.h"
#include "simulation/phaseswitchrule.h"
#include "simulation/solarrule.h"

namespace {

using namespace std::chrono_literals;

/// A rule that is shown one moment per second, and what it found.
template <class TRule>
class CShown {
 public:
  template <class... TArguments>
  explicit CShown(TArguments... arguments)
      : mRule(arguments..., [this](const SDayViolation& violation) { mFound.push_back(violation.at / 1s); }) {
    mPlan.visits.resize(1);
    mSituation.visit = mPlan.visits.data();
    mSituation.limitOf = [this](auto) { return mLimit; };
  }

  void Offer(std::uint32_t milliAmpere, std::uint32_t phases = 3) {
    mMoment.setpointMilliAmpere = milliAmpere;
    mRule.OnSetpoint(mMoment.at, milliAmpere, phases);
  }
  void Show(std::chrono::seconds span) {
    for (; span > 0s; span -= 1s) {
      mMoment.at += 1s;
      mRule.OnMoment(mMoment, mSituation);
    }
  }
  /// When it was broken, in seconds, since the last time that it was asked.
  std::vector<std::int64_t> Found() { return std::exchange(mFound, {}); }

  SDayPlan mPlan;
  SDaySituation mSituation{.plan = mPlan, .settings = {}, .limitOf = {}};
  SStationMoment mMoment;
  std::optional<std::int32_t> mLimit;

 private:
  std::vector<std::int64_t> mFound;
  TRule mRule;
};
using Seconds = std::vector<std::int64_t>;

TEST(DayRules, SeeAnOfferAboveTheCableOrAfterAStop) {
  CShown<COfferedCurrentRule> offer;
  offer.mMoment.cable = ipc::EPp20A;
  offer.Offer(20000);
  offer.Show(3s);
  offer.mMoment.cable = ipc::EPpInvalid;
  offer.Show(1s);
  EXPECT_EQ(offer.Found(), Seconds{}) << "a second is left";
  offer.Show(2s);
  offer.Offer(13000);
  offer.Show(2s);
  offer.Offer(25000);
  offer.Offer(0);
  offer.Show(1s);
  EXPECT_EQ(offer.Found(), (Seconds{5, 9})) << "the second for a moment only";

  CShown<COfferAfterStopRule> stopped;
  stopped.mSituation.stoppedBy = ipc::ECurrentControlOvercurrentProtection;
  stopped.Show(1s);
  stopped.Offer(6000);
  stopped.Show(2s);
  EXPECT_EQ(stopped.Found(), Seconds{2});
  CShown<CObedienceRule> obedience;
  obedience.mSituation.stoppedBy = ipc::ECurrentControlVDEPhaseImbalance;
  obedience.Show(1s);
  obedience.mSituation.stoppedBy = ipc::ECurrentControlOvercurrentProtection;
  obedience.Show(2s);
  EXPECT_EQ(obedience.Found(), Seconds{2});
}

TEST(DayRules, LetAHigherSetpointCountForTenSecondsMore) {
  CShown<COvercurrentRule> overcurrent;
  overcurrent.Offer(16000);
  overcurrent.mMoment.vehicle = {0, 0, 16000};
  overcurrent.Show(5s);
  overcurrent.Offer(12000);
  overcurrent.Show(10s + 11s);
  EXPECT_EQ(overcurrent.Found(), Seconds{}) << "tolerated to 15 s, seen there, and 11 s from then on";
  overcurrent.Show(1s);
  EXPECT_EQ(overcurrent.Found(), Seconds{27});
}

TEST(DayRules, CountChangesOfPhasesWithinAnHour) {
  CShown<CPhaseSwitchRule> switches;
  switches.Offer(6000, 1);  // which lets two more be
  for (std::uint32_t i = 1; i <= 44; ++i) {
    switches.Show(80s);
    switches.Offer(6000, 1 + i % 2 * 2);
  }
  switches.Show(1s);
  EXPECT_EQ(switches.Found(), Seconds{44 * 80 + 1});
  for (const auto apart : {40s, 20s}) {
    switches.Show(41s);
    switches.Offer(6000, 3);
    switches.Show(apart);
    switches.Offer(6000, 1);
    switches.Show(1s);
  }
  EXPECT_EQ(switches.Found(), Seconds{3665}) << "the second only: 20 s apart";
}

TEST(DayRules, SeeSolarChargingThatIsLate) {
  for (const auto& [kind, surplus, limit, found] :
       std::vector<std::tuple<CSolarRule::EKind, std::int32_t, std::int32_t, Seconds>>{
           {CSolarRule::EKind::Starts, 1320, 0, {85}},  // the fourth moment, 20 s and 60 s
           {CSolarRule::EKind::Starts, 1320, 6000, {}},
           {CSolarRule::EKind::Starts, 1319, 0, {}},
           {CSolarRule::EKind::Stops, 1279, 6000, {925}},
           {CSolarRule::EKind::Stops, 1279, 0, {}},
           {CSolarRule::EKind::Stops, 1280, 6000, {}},
       }) {
    CShown<CSolarRule> solar(kind);
    solar.mMoment.surplusWatt = surplus;
    solar.mMoment.gridWatt = -surplus;
    solar.mLimit = limit;
    solar.Show(kind == CSolarRule::EKind::Starts ? 100s : 930s);
    EXPECT_EQ(solar.Found(), found) << surplus << " W, " << limit << " mA";
  }
}

}  // namespace
