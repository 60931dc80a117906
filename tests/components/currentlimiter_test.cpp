#include "src/components/currentlimiter.h"

#include <cmath>
#include <thread>

#include "components/componentstation.h"
#include "src/rpc/clients/chargecontrolservice.h"

namespace {

using namespace ipc;
using ELevel = Log::ELogLevel;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
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
               kUser = ECurrentControlUserLimitCurrent, kUnknown = static_cast<ECurrentControlSource>(1);

class CLimiterTest : public ::testing::Test, protected SComponentStation {
 protected:
  CLimiterTest() {
    hwinfo->Set("HwOneOrThreePhase", 3);
    hwinfo->Set("HwMaxCurrent", 32);
  }
  float Without(std::vector<ECurrentControlSource> sources) { return mLimiter->GetSetpoint(sources).current; }

  std::shared_ptr<CChargeControl> mCharge = std::make_shared<CChargeControl>();
  std::optional<CCurrentLimiter> mLimiter{
      std::in_place, time, config, mCharge,
      CCurrentLimiter::SSignals{diagnostics.Signal(DiagnosticsSignals::kLimitingCurrentSource),
                                diagnostics.Signal(DiagnosticsSignals::kLimitingPhasesSource),
                                diagnostics.Signal(DiagnosticsSignals::kSourceChanged)}};
};

/// Who decides, on what; and on how many phases, and who decides that.
std::string ToText(const SLimitEntry& entry) {
  const auto number = [](ECurrentControlSource source) { return static_cast<int>(source); };
  return fmt::format("{} {} A, {} {}", number(entry.source), entry.current, number(entry.phaseSource),
                     entry.phases);
}

TEST_F(CLimiterTest, SmallestCurrentDecidesTheEarliestOfEqualOnesAndAnyOnePhaseLimitForcesOnePhase) {
  EXPECT_EQ(mLimiter->GetSetpoint().current, -1.0F);
  const struct {
    ECurrentControlSource source;
    std::uint8_t phases;
    float current;
    const char* setpoint;
  } kSteps[] = {
      {kHardware, 3, 32.0F, "8 32 A, 8 3"},
      {kApi, 3, 16.0F, "15 16 A, 15 3"},
      {kGroup, 3, 16.0F, "15 16 A, 15 3"},
      {kHardware, 3, 15.9F, "8 15.9 A, 8 3"},
      {kHardware, 3, 16.0F, "8 16 A, 8 3"},
      {kGroup, 1, 20.0F, "8 16 A, 5 1"},
      // Only a smaller 1-phase limit takes the phases over, and nothing takes them back.
      {kCable, 1, 16.0F, "8 16 A, 5 1"},
      {kCable, 1, 13.0F, "6 13 A, 6 1"},
      {kOcpp, 3, 10.0F, "10 10 A, 6 1"},
  };
  for (const auto& step : kSteps) {
    EXPECT_TRUE(mLimiter->SetLimit(step.source, step.phases, step.current));
    EXPECT_EQ(ToText(mLimiter->GetSetpoint()), step.setpoint) << "after step " << &step - kSteps;
  }
  EXPECT_THAT(mCharge->mSent, ElementsAre(Pair(32000U, 3), Pair(16000U, 3), Pair(15900U, 3), Pair(16000U, 3),
                                          Pair(16000U, 1), Pair(13000U, 1), Pair(10000U, 1)));
}

TEST_F(CLimiterTest, RefusesPhasesThatTheHardwareLacksAndNoNumbersButNotOddCounts) {
  hwinfo->Set("HwOneOrThreePhase", 1);
  EXPECT_FALSE(mLimiter->SetLimit(kBop, 3, 6.0F));
  EXPECT_EQ(Told(),
            "Trying to add 3 phase limit of 6 A from source ECurrentControlBop on unsupported "
            "hardware configuration, ignoring");
  EXPECT_FALSE(mLimiter->SetLimit(kBop, 1, std::nanf("")));
  EXPECT_FALSE(mLimiter->HasLimit(kBop));
  EXPECT_THAT(mCharge->mSent, IsEmpty());
  EXPECT_TRUE(mLimiter->SetLimit(kBop, 255, 6.0F));
  EXPECT_EQ(ToText(mLimiter->GetSetpoint()), "4 6 A, 0 1");
}

TEST_F(CLimiterTest, ChangesBelowTheThresholdOfTheirSourceAreNotForwarded) {
  const struct {
    ECurrentControlSource source;
    float from, to;
    bool forwarded;
  } kCases[] = {
      {kBop, 16.0F, 15.8F, false},
      {kBop, 16.0F, 15.75F, true},
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
  mLimiter->SetLimit(kBop, 3, 16.0F);
  mLimiter->SetLimit(kBop, 1, 15.9F);
  EXPECT_EQ(mCharge->mSent.back(), std::pair(15900U, 1)) << "another number of phases is forwarded at once";
}

TEST_F(CLimiterTest, DeletingTheLastLimitFreesTheCurrent) {
  mLimiter->SetLimit(kCable, 1, 13.0F);
  EXPECT_TRUE(mLimiter->DeleteLimit(kCable));
  EXPECT_EQ(mCharge->mSent.back(), std::pair(999000U, 3));
  EXPECT_FALSE(mLimiter->DeleteLimit(kCable));
  EXPECT_EQ(ToText(mLimiter->GetLimit(kCable)), "6 0 A, 6 3");
  EXPECT_THAT(log.Texts(ELevel::Warning), testing::SizeIs(2));
}

TEST_F(CLimiterTest, WhoDecidesIsPublishedWhenItChanges) {
  mLimiter->SetLimit(kGroup, 3, 16.0F);
  EXPECT_EQ(
      Told(),
      "142 ECurrentControlLoadBal; 148 ECurrentControlLoadBal; 20504 Current limitation source "
      "changed to ECurrentControlLoadBal and phases limitation source changed to ECurrentControlLoadBal");
  mLimiter->SetLimit(kGroup, 3, 15.0F);
  EXPECT_THAT(Told(), Not(HasSubstr("20504")));
  mLimiter->SetLimit(kCable, 3, 13.0F);
  EXPECT_THAT(Told(), EndsWith("20504 Current limitation source changed to ECurrentControlUserCable"));
  mLimiter->SetLimit(kCable, 1, 13.0F);
  EXPECT_THAT(Told(),
              EndsWith("20504 Current limitation source changed to ECurrentControlUserCable and phases "
                       "limitation source changed to ECurrentControlUserCable"));
}

TEST_F(CLimiterTest, ARefusedSetpointIsKeptAndNotPublished) {
  mCharge->mCode = 1;
  EXPECT_FALSE(mLimiter->SetLimit(kGroup, 3, 16.0F));
  EXPECT_EQ(Told(), "Failed to set charge current to 3 phase 16 A in current control");
  EXPECT_TRUE(mLimiter->SetLimit(kGroup, 3, 16.0F));
  EXPECT_EQ(mCharge->mSent.size(), 1U);
  // The next success is compared with the setpoint that failed.
  mCharge->mCode = 2;
  EXPECT_TRUE(mLimiter->SetLimit(kGroup, 3, 15.0F));
  EXPECT_EQ(Told(), "142 ECurrentControlLoadBal; 148 ECurrentControlLoadBal");
}

TEST_F(CLimiterTest, LeavingSourcesOutSkipsTheLimitBehindARemovedOne) {
  for (const auto& [source, ampere] : {std::pair(kBop, 10.0F), {kGroup, 11.0F}, {kCable, 12.0F}}) {
    mLimiter->SetLimit(source, 3, ampere);
  }
  EXPECT_EQ(Without({kBop, kGroup}), 12.0F);
  EXPECT_EQ(Without({kGroup, kBop}), 11.0F);
  EXPECT_EQ(Without({kCable, kCable}), 10.0F);
  EXPECT_EQ(mLimiter->GetSetpoint().current, 10.0F);
}

TEST_F(CLimiterTest, ExplainsLimitsSetpointAndRunnerUp) {
  mLimiter->SetLimit(kBop, 3, 10.0F);
  mLimiter->SetLimit(kGroup, 1, 10.0F);
  time.RunFor(Milliseconds{5000});
  mLimiter->SetLimit(kGroup, 1, 10.0F);
  mLimiter->SetLimit(kBop, 3, 13.0F);
  time.RunFor(Milliseconds{20});
  const auto explanation = mLimiter->Explain();
  ASSERT_EQ(explanation.limits.size(), 2U);
  EXPECT_EQ(explanation.limits[0].unchangedFor, Milliseconds{20});
  EXPECT_EQ(explanation.limits[1].unchangedFor, Milliseconds{5020});
  // Nothing to forward, so the setpoint names the source that no longer decides.
  EXPECT_EQ(ToText(explanation.setpoint), "4 10 A, 5 1");
  EXPECT_EQ(ToText(explanation.selection), "5 10 A, 5 1");
  EXPECT_EQ(ToText(explanation.runnerUp), "4 13 A, 4 3");
}

TEST_F(CLimiterTest, UserLimitFollowsItsSettingUntilTheEnd) {
  settings->Set("CurrentCtrlFixedChargeCurrentLimit", 25);
  settings->Set("UserDefinedChargeLimitCurrentAllowed", true);
  mLimiter->SetInitialLimits();
  EXPECT_THAT(mCharge->mSent, ElementsAre(Pair(32000U, 3), Pair(25000U, 3)));
  settings->Set("UserDefinedChargeLimitCurrent", 12.5);
  EXPECT_EQ(mCharge->mSent.back(), std::pair(12500U, 3));
  for (const Json::Value& value : {Json::Value("16"), Json::Value(true), Json::Value(1e300), Json::Value()}) {
    settings->Set("UserDefinedChargeLimitCurrent", 13);
    settings->Set("UserDefinedChargeLimitCurrent", value);
    EXPECT_EQ(mLimiter->GetLimit(kUser).current, 32.0F) << "as after a restart";
  }

  // Also when the permission was taken away in the meantime.
  settings->Set("UserDefinedChargeLimitCurrentAllowed", false);
  mLimiter.reset();
  EXPECT_FALSE(settings->HasListener("currentLimiter", "UserDefinedChargeLimitCurrent"));
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
