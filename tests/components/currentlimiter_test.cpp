#include "src/components/currentlimiter.h"

#include <cmath>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/worker/virtualscheduler.h"
#include "src/components/currentcontrolconfig.h"
#include "src/diagnosticssignals/diagnosticssignals.h"
#include "src/rpc/clients/chargecontrolservice.h"
#include "support/diagnosticsrecord.h"
#include "support/memoryconfig.h"

namespace {

using namespace ipc;
using ELevel = Log::ELogLevel;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

class CChargeControl final : public IChargeControlService {
 public:
  MResult SetChargeCurrent(std::uint32_t milliAmpere, std::uint8_t phases) override {
    mSent.emplace_back(milliAmpere, phases);
    MResult result;
    result.set_code(mCode);
    return result;
  }
  MResult EnsureTaken() override { return {}; }

  std::vector<std::pair<std::uint32_t, int>> mSent;  ///< mA and phases
  std::uint32_t mCode = 0;
};

class CLimiterTest : public ::testing::Test {
 protected:
  SLimitEntry Without(std::vector<ECurrentControlSource> sources) { return mLimiter->GetSetpoint(sources); }

  CVirtualScheduler mScheduler;
  CDiagnosticsRecord mDiagnostics{mScheduler};
  std::shared_ptr<CMemoryConfig> mSettings = std::make_shared<CMemoryConfig>();
  std::shared_ptr<CMemoryConfig> mHwinfo = std::make_shared<CMemoryConfig>(
      std::map<std::string, Json::Value, std::less<>>{{"HwOneOrThreePhase", 3}, {"HwMaxCurrent", 32}});
  std::shared_ptr<CChargeControl> mCharge = std::make_shared<CChargeControl>();
  std::optional<CCurrentLimiter> mLimiter{
      std::in_place, mScheduler, std::make_shared<CCurrentControlConfig>(mSettings, mHwinfo), mCharge,
      CCurrentLimiter::SSignals{mDiagnostics.Signal(DiagnosticsSignals::kLimitingCurrentSource),
                                mDiagnostics.Signal(DiagnosticsSignals::kLimitingPhasesSource),
                                mDiagnostics.Signal(DiagnosticsSignals::kSourceChanged)}};
};

MATCHER_P4(IsSetpoint, source, phaseSource, current, phases, "") {
  return arg.source == source && arg.phaseSource == phaseSource && arg.current == current &&
         arg.phases == phases;
}

TEST_F(CLimiterTest, SmallestCurrentDecidesAndTheEarliestOfEqualOnes) {
  EXPECT_EQ(mLimiter->GetSetpoint().current, -1.0F);
  EXPECT_TRUE(mLimiter->SetLimitWithDefaultPhases(ECurrentControlHardwareLimit, 32.0F));
  EXPECT_TRUE(mLimiter->SetLimit(ECurrentControlLocalRestApi, 3, 16.0F));
  EXPECT_TRUE(mLimiter->SetLimit(ECurrentControlLoadBal, 3, 16.0F));
  EXPECT_TRUE(mLimiter->SetLimit(ECurrentControlHardwareLimit, 3, 15.9F));
  EXPECT_TRUE(mLimiter->SetLimit(ECurrentControlHardwareLimit, 3, 16.0F));
  EXPECT_THAT(mLimiter->GetSetpoint(),
              IsSetpoint(ECurrentControlHardwareLimit, ECurrentControlHardwareLimit, 16.0F, 3));
  EXPECT_THAT(mCharge->mSent,
              ElementsAre(Pair(32000U, 3), Pair(16000U, 3), Pair(15900U, 3), Pair(16000U, 3)));
}

TEST_F(CLimiterTest, AnyOnePhaseLimitForcesOnePhase) {
  mLimiter->SetLimit(ECurrentControlHardwareLimit, 3, 16.0F);
  mLimiter->SetLimit(ECurrentControlLoadBal, 1, 20.0F);
  EXPECT_THAT(mLimiter->GetSetpoint(),
              IsSetpoint(ECurrentControlHardwareLimit, ECurrentControlLoadBal, 16.0F, 1));
  // Only a smaller 1-phase limit takes the phases over, and nothing takes them back.
  mLimiter->SetLimit(ECurrentControlUserCable, 1, 16.0F);
  EXPECT_EQ(mLimiter->GetSetpoint().phaseSource, ECurrentControlLoadBal);
  mLimiter->SetLimit(ECurrentControlUserCable, 1, 13.0F);
  EXPECT_THAT(mLimiter->GetSetpoint(),
              IsSetpoint(ECurrentControlUserCable, ECurrentControlUserCable, 13.0F, 1));
  mLimiter->SetLimit(ECurrentControlOcppSmartCharging, 3, 10.0F);
  EXPECT_THAT(mLimiter->GetSetpoint(),
              IsSetpoint(ECurrentControlOcppSmartCharging, ECurrentControlUserCable, 10.0F, 1));
}

TEST_F(CLimiterTest, PhasesThatTheHardwareLacksAreRefusedOddCountsAreNot) {
  mHwinfo->Set("HwOneOrThreePhase", 1);
  CLogCapture log;
  EXPECT_FALSE(mLimiter->SetLimit(ECurrentControlBop, 3, 6.0F));
  EXPECT_EQ(log.Count("Trying to add 3 phase limit of 6 A from source ECurrentControlBop on unsupported "
                      "hardware configuration, ignoring"),
            1);
  EXPECT_FALSE(mLimiter->HasLimit(ECurrentControlBop));
  EXPECT_THAT(mCharge->mSent, IsEmpty());
  EXPECT_TRUE(mLimiter->SetLimit(ECurrentControlBop, 255, 6.0F));
  EXPECT_EQ(mLimiter->GetLimit(ECurrentControlBop).phases, 255);
  EXPECT_THAT(mLimiter->GetSetpoint(), IsSetpoint(ECurrentControlBop, ECurrentControlNone, 6.0F, 1));
}

TEST_F(CLimiterTest, ChangesBelowTheThresholdOfTheirSourceAreNotForwarded) {
  const struct {
    ECurrentControlSource source;
    float from, to;
    bool forwarded;
  } kCases[] = {
      {ECurrentControlThermal, 16.0F, 15.8F, false},
      {ECurrentControlThermal, 16.0F, 15.75F, true},
      {ECurrentControlSystemBalancer, 16.0F, 15.95F, false},
      {ECurrentControlSystemBalancer, 16.0F, 15.875F, true},
      {ECurrentControlLoadBal, 0.5F, 0.5F - 1.1920929e-7F, false},
      {ECurrentControlLoadBal, 0.5F, 0.5F - 1.7881393e-7F, true},
  };
  for (const auto& [source, from, to, forwarded] : kCases) {
    mLimiter->SetLimit(source, 3, from);
    mCharge->mSent.clear();
    EXPECT_TRUE(mLimiter->SetLimit(source, 3, to));
    EXPECT_EQ(mCharge->mSent.size(), forwarded ? 1U : 0U) << source << " to " << to;
    mLimiter->DeleteLimit(source);
  }
  mLimiter->SetLimit(ECurrentControlThermal, 3, 16.0F);
  mLimiter->SetLimit(ECurrentControlThermal, 1, 15.9F);
  EXPECT_EQ(mCharge->mSent.back(), std::pair(15900U, 1));
}

TEST_F(CLimiterTest, UnknownSourcesLimitWithAWarning) {
  CLogCapture log;
  EXPECT_TRUE(mLimiter->SetLimit(static_cast<ECurrentControlSource>(1), 3, 16.0F));
  EXPECT_TRUE(mLimiter->SetLimit(static_cast<ECurrentControlSource>(1), 3, 15.8F));
  EXPECT_EQ(
      log.Count("Trying to update current with unknown source Unknown source, current threshold set to 0.25"),
      2);
  EXPECT_THAT(mCharge->mSent, ElementsAre(Pair(16000U, 3)));
}

TEST_F(CLimiterTest, DeletingTheLastLimitFreesTheCurrent) {
  mLimiter->SetLimit(ECurrentControlUserCable, 1, 13.0F);
  EXPECT_TRUE(mLimiter->DeleteLimit(ECurrentControlUserCable));
  EXPECT_EQ(mCharge->mSent.back(), std::pair(999000U, 3));
  CLogCapture log(ELevel::Info);
  EXPECT_FALSE(mLimiter->DeleteLimit(ECurrentControlUserCable));
  EXPECT_THAT(mLimiter->GetLimit(ECurrentControlUserCable),
              IsSetpoint(ECurrentControlUserCable, ECurrentControlUserCable, 0.0F, 3));
  EXPECT_THAT(
      log.Texts(ELevel::Warning),
      ElementsAre("Trying to delete limit from source ECurrentControlUserCable which does not have a limit, "
                  "ignoring",
                  "Trying to get limit from unavailable source ECurrentControlUserCable, returning 0"));
}

TEST_F(CLimiterTest, WhoDecidesIsPublishedWhenItChanges) {
  mLimiter->SetLimit(ECurrentControlLoadBal, 3, 16.0F);
  EXPECT_THAT(
      mDiagnostics.Take(),
      ElementsAre(Pair(142U, ElementsAre("ECurrentControlLoadBal")),
                  Pair(148U, ElementsAre("ECurrentControlLoadBal")),
                  Pair(20504U, ElementsAre("Current limitation source changed to ECurrentControlLoadBal and "
                                           "phases limitation source changed to ECurrentControlLoadBal"))));
  mLimiter->SetLimit(ECurrentControlLoadBal, 3, 15.0F);
  EXPECT_EQ(mDiagnostics.Take().count(20504), 0U);
  mLimiter->SetLimit(ECurrentControlUserCable, 3, 13.0F);
  EXPECT_THAT(mDiagnostics.Take()[20504],
              ElementsAre("Current limitation source changed to ECurrentControlUserCable"));
  mLimiter->SetLimit(ECurrentControlUserCable, 1, 13.0F);
  EXPECT_THAT(mDiagnostics.Take()[20504],
              ElementsAre("Current limitation source changed to ECurrentControlUserCable and phases "
                          "limitation source changed to ECurrentControlUserCable"));
}

TEST_F(CLimiterTest, ARefusedSetpointIsKeptAndNotPublished) {
  mCharge->mCode = 1;
  CLogCapture log;
  EXPECT_FALSE(mLimiter->SetLimit(ECurrentControlLoadBal, 3, 16.0F));
  EXPECT_EQ(log.Count("Failed to set charge current to 3 phase 16 A in current control"), 1);
  EXPECT_THAT(mDiagnostics.Take(), IsEmpty());
  EXPECT_TRUE(mLimiter->SetLimit(ECurrentControlLoadBal, 3, 16.0F));
  EXPECT_EQ(mCharge->mSent.size(), 1U);
  // The next success is compared with the setpoint that failed.
  mCharge->mCode = 2;
  EXPECT_TRUE(mLimiter->SetLimit(ECurrentControlLoadBal, 3, 15.0F));
  EXPECT_THAT(mDiagnostics.Take(), ElementsAre(Pair(142U, testing::_), Pair(148U, testing::_)));
}

TEST_F(CLimiterTest, CurrentsThatCannotBeSentAreClampedAndNoNumbersRefused) {
  CLogCapture log(ELevel::Info);
  EXPECT_FALSE(mLimiter->SetLimit(ECurrentControlBop, 3, std::nanf("")));
  EXPECT_FALSE(mLimiter->HasLimit(ECurrentControlBop));
  EXPECT_TRUE(mLimiter->SetLimit(ECurrentControlBop, 3, -2.0F));
  EXPECT_THAT(mCharge->mSent, ElementsAre(Pair(0U, 3)));
  EXPECT_THAT(log.Texts(ELevel::Error),
              ElementsAre("A setpoint of -2 A from source ECurrentControlBop cannot be sent, sending 0 mA"));
}

TEST_F(CLimiterTest, LeavingSourcesOutSkipsTheLimitBehindARemovedOne) {
  mLimiter->SetLimit(ECurrentControlBop, 3, 10.0F);
  mLimiter->SetLimit(ECurrentControlLoadBal, 3, 11.0F);
  mLimiter->SetLimit(ECurrentControlUserCable, 3, 12.0F);
  EXPECT_EQ(Without({ECurrentControlBop, ECurrentControlLoadBal}).current, 12.0F);
  EXPECT_EQ(Without({ECurrentControlLoadBal, ECurrentControlBop}).current, 11.0F);
  EXPECT_EQ(Without({ECurrentControlUserCable, ECurrentControlUserCable}).current, 10.0F);
  EXPECT_EQ(mLimiter->GetSetpoint().current, 10.0F);
  EXPECT_EQ(mCharge->mSent.size(), 1U);
}

TEST_F(CLimiterTest, ExplainsLimitsSetpointAndRunnerUp) {
  mLimiter->SetLimit(ECurrentControlBop, 3, 10.0F);
  mLimiter->SetLimit(ECurrentControlLoadBal, 1, 10.0F);
  mScheduler.RunFor(Milliseconds{5000});
  mLimiter->SetLimit(ECurrentControlLoadBal, 1, 10.0F);
  mLimiter->SetLimit(ECurrentControlBop, 3, 13.0F);
  mScheduler.RunFor(Milliseconds{20});
  const auto explanation = mLimiter->Explain();
  ASSERT_EQ(explanation.limits.size(), 2U);
  EXPECT_EQ(explanation.limits[0].unchangedFor, Milliseconds{20});
  EXPECT_EQ(explanation.limits[1].unchangedFor, Milliseconds{5020});
  // Nothing to forward, so the setpoint names the source that no longer decides.
  EXPECT_THAT(explanation.setpoint, IsSetpoint(ECurrentControlBop, ECurrentControlLoadBal, 10.0F, 1));
  EXPECT_THAT(explanation.selection, IsSetpoint(ECurrentControlLoadBal, ECurrentControlLoadBal, 10.0F, 1));
  EXPECT_THAT(explanation.runnerUp, IsSetpoint(ECurrentControlBop, ECurrentControlBop, 13.0F, 3));
}

TEST_F(CLimiterTest, UserLimitFollowsItsSettingUntilTheEnd) {
  mSettings->Set("CurrentCtrlFixedChargeCurrentLimit", 25);
  mSettings->Set("UserDefinedChargeLimitCurrentAllowed", true);
  mLimiter->SetInitialLimits();
  EXPECT_EQ(mLimiter->GetLimit(ECurrentControlHardwareLimit).current, 32.0F);
  EXPECT_EQ(mLimiter->GetLimit(ECurrentControlConfigurationLimit).current, 25.0F);
  EXPECT_EQ(mLimiter->GetLimit(ECurrentControlUserLimitCurrent).current, 32.0F);

  mSettings->Set("UserDefinedChargeLimitCurrent", 12.5);
  EXPECT_EQ(mCharge->mSent.back(), std::pair(12500U, 3));
  CLogCapture log;
  for (const Json::Value& value : {Json::Value("16"), Json::Value(true), Json::Value(1e300), Json::Value()}) {
    mSettings->Set("UserDefinedChargeLimitCurrent", 13);
    mSettings->Set("UserDefinedChargeLimitCurrent", value);
    EXPECT_EQ(mLimiter->GetLimit(ECurrentControlUserLimitCurrent).current, 32.0F) << "as after a restart";
  }

  // Also when the permission was taken away in the meantime.
  mSettings->Set("UserDefinedChargeLimitCurrentAllowed", false);
  mLimiter.reset();
  EXPECT_EQ(log.Count("Process: currentLimiter removing listener: UserDefinedChargeLimitCurrent"), 1);
  EXPECT_FALSE(mSettings->HasListener("currentLimiter", "UserDefinedChargeLimitCurrent"));
}

TEST_F(CLimiterTest, SetpointsArriveInTheOrderInWhichTheyWereComputed) {
  const auto setMany = [&](ECurrentControlSource source) {
    for (int turn = 0; turn < 500; ++turn) mLimiter->SetLimit(source, 3, static_cast<float>(6 + turn % 7));
  };
  std::thread other(setMany, ECurrentControlLoadBal);
  setMany(ECurrentControlLocalRestApi);
  other.join();
  EXPECT_EQ(mCharge->mSent.back().first, static_cast<std::uint32_t>(mLimiter->GetSetpoint().current) * 1000);
  EXPECT_EQ(mLimiter->GetSetpoint().current, 8.0F);
}

}  // namespace
