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
  void StopCharging() override {}

  std::vector<std::pair<std::uint32_t, int>> mSent;  ///< mA and phases
  std::uint32_t mCode = 0;
};

constexpr auto kHardware = ECurrentControlHardwareLimit, kApi = ECurrentControlLocalRestApi,
               kGroup = ECurrentControlLoadBal, kCable = ECurrentControlUserCable,
               kOcpp = ECurrentControlOcppSmartCharging, kBop = ECurrentControlBop,
               kThermal = ECurrentControlThermal, kUser = ECurrentControlUserLimitCurrent,
               kUnknown = static_cast<ECurrentControlSource>(1);

class CLimiterTest : public ::testing::Test {
 protected:
  float Without(std::vector<ECurrentControlSource> sources) { return mLimiter->GetSetpoint(sources).current; }

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

TEST_F(CLimiterTest, SmallestCurrentDecidesTheEarliestOfEqualOnesAndAnyOnePhaseLimitForcesOnePhase) {
  EXPECT_EQ(mLimiter->GetSetpoint().current, -1.0F);
  const struct {
    ECurrentControlSource source;
    std::uint8_t phases;
    float current;
    ECurrentControlSource decides, decidesPhases;  // what follows
    float setpoint;
    int setpointPhases;
  } kSteps[] = {
      {kHardware, 3, 32.0F, kHardware, kHardware, 32.0F, 3},
      {kApi, 3, 16.0F, kApi, kApi, 16.0F, 3},
      {kGroup, 3, 16.0F, kApi, kApi, 16.0F, 3},
      {kHardware, 3, 15.9F, kHardware, kHardware, 15.9F, 3},
      {kHardware, 3, 16.0F, kHardware, kHardware, 16.0F, 3},
      {kGroup, 1, 20.0F, kHardware, kGroup, 16.0F, 1},
      // Only a smaller 1-phase limit takes the phases over, and nothing takes them back.
      {kCable, 1, 16.0F, kHardware, kGroup, 16.0F, 1},
      {kCable, 1, 13.0F, kCable, kCable, 13.0F, 1},
      {kOcpp, 3, 10.0F, kOcpp, kCable, 10.0F, 1},
  };
  for (const auto& step : kSteps) {
    EXPECT_TRUE(mLimiter->SetLimit(step.source, step.phases, step.current));
    EXPECT_THAT(mLimiter->GetSetpoint(),
                IsSetpoint(step.decides, step.decidesPhases, step.setpoint, step.setpointPhases))
        << "after step " << &step - kSteps;
  }
  EXPECT_THAT(mCharge->mSent, ElementsAre(Pair(32000U, 3), Pair(16000U, 3), Pair(15900U, 3), Pair(16000U, 3),
                                          Pair(16000U, 1), Pair(13000U, 1), Pair(10000U, 1)));
}

TEST_F(CLimiterTest, RefusesPhasesThatTheHardwareLacksAndNoNumbersButNotOddCounts) {
  mHwinfo->Set("HwOneOrThreePhase", 1);
  CLogCapture log;
  EXPECT_FALSE(mLimiter->SetLimit(kBop, 3, 6.0F));
  EXPECT_EQ(log.Count("Trying to add 3 phase limit of 6 A from source ECurrentControlBop on unsupported "
                      "hardware configuration, ignoring"),
            1);
  EXPECT_FALSE(mLimiter->SetLimit(kBop, 1, std::nanf("")));
  EXPECT_FALSE(mLimiter->HasLimit(kBop));
  EXPECT_THAT(mCharge->mSent, IsEmpty());
  EXPECT_TRUE(mLimiter->SetLimit(kBop, 255, 6.0F));
  EXPECT_THAT(mLimiter->GetSetpoint(), IsSetpoint(kBop, ECurrentControlNone, 6.0F, 1));
}

TEST_F(CLimiterTest, ChangesBelowTheThresholdOfTheirSourceAreNotForwarded) {
  CLogCapture log;
  const struct {
    ECurrentControlSource source;
    float from, to;
    bool forwarded;
  } kCases[] = {
      {kThermal, 16.0F, 15.8F, false},
      {kThermal, 16.0F, 15.75F, true},
      {kGroup, 0.5F, 0.5F - 1.1920929e-7F, false},
      {kGroup, 0.5F, 0.5F - 1.7881393e-7F, true},
      {kUnknown, 16.0F, 15.8F, false},
      {kUnknown, 16.0F, 15.75F, true},
  };
  for (const auto& [source, from, to, forwarded] : kCases) {
    mLimiter->SetLimit(source, 3, from);
    mCharge->mSent.clear();
    EXPECT_TRUE(mLimiter->SetLimit(source, 3, to));
    EXPECT_EQ(mCharge->mSent.size(), forwarded ? 1U : 0U) << source << " to " << to;
    mLimiter->DeleteLimit(source);
  }
  EXPECT_EQ(
      log.Count("Trying to update current with unknown source Unknown source, current threshold set to 0.25"),
      6);
  mLimiter->SetLimit(kThermal, 3, 16.0F);
  mLimiter->SetLimit(kThermal, 1, 15.9F);
  EXPECT_EQ(mCharge->mSent.back(), std::pair(15900U, 1)) << "another number of phases is forwarded at once";
}

TEST_F(CLimiterTest, DeletingTheLastLimitFreesTheCurrent) {
  mLimiter->SetLimit(kCable, 1, 13.0F);
  EXPECT_TRUE(mLimiter->DeleteLimit(kCable));
  EXPECT_EQ(mCharge->mSent.back(), std::pair(999000U, 3));
  CLogCapture log(ELevel::Info);
  EXPECT_FALSE(mLimiter->DeleteLimit(kCable));
  EXPECT_THAT(mLimiter->GetLimit(kCable), IsSetpoint(kCable, kCable, 0.0F, 3));
  EXPECT_THAT(log.Texts(ELevel::Warning), testing::SizeIs(2));
}

TEST_F(CLimiterTest, WhoDecidesIsPublishedWhenItChanges) {
  mLimiter->SetLimit(kGroup, 3, 16.0F);
  EXPECT_THAT(
      mDiagnostics.Take(),
      ElementsAre(Pair(142U, ElementsAre("ECurrentControlLoadBal")),
                  Pair(148U, ElementsAre("ECurrentControlLoadBal")),
                  Pair(20504U, ElementsAre("Current limitation source changed to ECurrentControlLoadBal and "
                                           "phases limitation source changed to ECurrentControlLoadBal"))));
  mLimiter->SetLimit(kGroup, 3, 15.0F);
  EXPECT_EQ(mDiagnostics.Take().count(20504), 0U);
  mLimiter->SetLimit(kCable, 3, 13.0F);
  EXPECT_THAT(mDiagnostics.Take()[20504],
              ElementsAre("Current limitation source changed to ECurrentControlUserCable"));
  mLimiter->SetLimit(kCable, 1, 13.0F);
  EXPECT_THAT(mDiagnostics.Take()[20504],
              ElementsAre("Current limitation source changed to ECurrentControlUserCable and phases "
                          "limitation source changed to ECurrentControlUserCable"));
}

TEST_F(CLimiterTest, ARefusedSetpointIsKeptAndNotPublished) {
  mCharge->mCode = 1;
  CLogCapture log;
  EXPECT_FALSE(mLimiter->SetLimit(kGroup, 3, 16.0F));
  EXPECT_EQ(log.Count("Failed to set charge current to 3 phase 16 A in current control"), 1);
  EXPECT_THAT(mDiagnostics.Take(), IsEmpty());
  EXPECT_TRUE(mLimiter->SetLimit(kGroup, 3, 16.0F));
  EXPECT_EQ(mCharge->mSent.size(), 1U);
  // The next success is compared with the setpoint that failed.
  mCharge->mCode = 2;
  EXPECT_TRUE(mLimiter->SetLimit(kGroup, 3, 15.0F));
  EXPECT_THAT(mDiagnostics.Take(), ElementsAre(Pair(142U, testing::_), Pair(148U, testing::_)));
}

TEST_F(CLimiterTest, LeavingSourcesOutSkipsTheLimitBehindARemovedOne) {
  mLimiter->SetLimit(kBop, 3, 10.0F);
  mLimiter->SetLimit(kGroup, 3, 11.0F);
  mLimiter->SetLimit(kCable, 3, 12.0F);
  EXPECT_EQ(Without({kBop, kGroup}), 12.0F);
  EXPECT_EQ(Without({kGroup, kBop}), 11.0F);
  EXPECT_EQ(Without({kCable, kCable}), 10.0F);
  EXPECT_EQ(mLimiter->GetSetpoint().current, 10.0F);
  EXPECT_EQ(mCharge->mSent.size(), 1U);
}

TEST_F(CLimiterTest, ExplainsLimitsSetpointAndRunnerUp) {
  mLimiter->SetLimit(kBop, 3, 10.0F);
  mLimiter->SetLimit(kGroup, 1, 10.0F);
  mScheduler.RunFor(Milliseconds{5000});
  mLimiter->SetLimit(kGroup, 1, 10.0F);
  mLimiter->SetLimit(kBop, 3, 13.0F);
  mScheduler.RunFor(Milliseconds{20});
  const auto explanation = mLimiter->Explain();
  ASSERT_EQ(explanation.limits.size(), 2U);
  EXPECT_EQ(explanation.limits[0].unchangedFor, Milliseconds{20});
  EXPECT_EQ(explanation.limits[1].unchangedFor, Milliseconds{5020});
  // Nothing to forward, so the setpoint names the source that no longer decides.
  EXPECT_THAT(explanation.setpoint, IsSetpoint(kBop, kGroup, 10.0F, 1));
  EXPECT_THAT(explanation.selection, IsSetpoint(kGroup, kGroup, 10.0F, 1));
  EXPECT_THAT(explanation.runnerUp, IsSetpoint(kBop, kBop, 13.0F, 3));
}

TEST_F(CLimiterTest, UserLimitFollowsItsSettingUntilTheEnd) {
  mSettings->Set("CurrentCtrlFixedChargeCurrentLimit", 25);
  mSettings->Set("UserDefinedChargeLimitCurrentAllowed", true);
  mLimiter->SetInitialLimits();
  EXPECT_EQ(mLimiter->GetLimit(kHardware).current, 32.0F);
  EXPECT_EQ(mLimiter->GetLimit(ECurrentControlConfigurationLimit).current, 25.0F);
  EXPECT_EQ(mLimiter->GetLimit(kUser).current, 32.0F);

  mSettings->Set("UserDefinedChargeLimitCurrent", 12.5);
  EXPECT_EQ(mCharge->mSent.back(), std::pair(12500U, 3));
  for (const Json::Value& value : {Json::Value("16"), Json::Value(true), Json::Value(1e300), Json::Value()}) {
    mSettings->Set("UserDefinedChargeLimitCurrent", 13);
    mSettings->Set("UserDefinedChargeLimitCurrent", value);
    EXPECT_EQ(mLimiter->GetLimit(kUser).current, 32.0F) << "as after a restart";
  }

  // Also when the permission was taken away in the meantime.
  mSettings->Set("UserDefinedChargeLimitCurrentAllowed", false);
  mLimiter.reset();
  EXPECT_FALSE(mSettings->HasListener("currentLimiter", "UserDefinedChargeLimitCurrent"));
}

TEST_F(CLimiterTest, SetpointsArriveInTheOrderInWhichTheyWereComputed) {
  const auto setMany = [&](ECurrentControlSource source) {
    for (int turn = 0; turn < 500; ++turn) mLimiter->SetLimit(source, 3, static_cast<float>(6 + turn % 7));
  };
  std::thread other(setMany, kGroup);
  setMany(kApi);
  other.join();
  EXPECT_EQ(mCharge->mSent.back().first, static_cast<std::uint32_t>(mLimiter->GetSetpoint().current) * 1000);
  EXPECT_EQ(mLimiter->GetSetpoint().current, 8.0F);
}

}  // namespace
