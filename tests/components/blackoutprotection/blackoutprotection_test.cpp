#include "src/components/blackoutprotection/blackoutprotection.h"

#include <atomic>
#include <thread>

#include "components/componentstation.h"
#include "platform/worker/realscheduler.h"
#include "src/components/blackoutprotection/blackoutprotectiondglb.h"

namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::StartsWith;
using ELevel = Log::ELogLevel;
constexpr Milliseconds kPeriod{1250};

class CSource final : public IMeasurementSource {
 public:
  bool Init() override { return true; }
  void DeInit() override {}
  ThreePhaseValue GetMeasurementAverage(EMeasureType type, Milliseconds span) override {
    return type == EMeasureType::Current && span == kPeriod ? mCurrents : ThreePhaseValue{-1, -1, -1};
  }
  ThreePhaseValue GetMeasurements(EMeasureType) override { return {}; }
  void RegisterErrorHandler(ErrorHandler handler) override { mHandler = std::move(handler); }
  bool HasMeasurement(EMeasureType type) const override { return type == EMeasureType::Current && mHas; }
  void DumpLastReceivedData() override { ++mDumps; }

  ThreePhaseValue mCurrents{};
  bool mHas = true;
  int mDumps = 0;
  ErrorHandler mHandler;
};

class CBlackoutProtectionTest : public ::testing::Test, protected SComponentStation {
 protected:
  CBlackoutProtectionTest() { settings->Set("CurrentCtrlBopFuseRating", 25); }

  std::shared_ptr<CBlackoutProtection> Standalone(std::shared_ptr<IMeasurementSource> source) {
    return std::make_shared<CBlackoutProtection>(
        time, std::move(source), config, kPeriod, Signals(),
        CBlackoutProtection::SCallbacks{[this] { return mPresent; },
                                        [this](const SLimit& limit) {
                                          EXPECT_EQ(limit.source, ipc::ECurrentControlBop);
                                          EXPECT_EQ(limit.phases, 3U);
                                          mLimits.push_back(limit.milliAmpere);
                                        }});
  }
  CBlackoutProtectionBase::SSignals Signals() {
    return Signals([this](const CSignalDefinition& definition) { return diagnostics.Signal(definition); });
  }
  template <class TMake>
  static CBlackoutProtectionBase::SSignals Signals(const TMake& make) {
    using namespace DiagnosticsSignals;
    return {make(kBopCurrent),       make(kBopConstraint),    make(kBopMeterFailure),
            make(kBopUsingFallback), make(kBopInvalidConfig), make(kBopSourceUnusable)};
  }

  void Start() {
    mBlackout = Standalone(mSource);
    ASSERT_TRUE(mBlackout->Init());
    mBlackout->Enable();
  }
  /// One look at a house whose largest phase current is this; the limit that follows. What charges draws it.
  std::int32_t Look(std::int32_t largest) {
    mSource->mCurrents = {100, largest, -500};
    time.RunFor(kPeriod);
    return mBlackout->GetLimit().milliAmpere;
  }
  std::vector<std::int32_t> Looks(const std::vector<std::int32_t>& largest) {
    std::vector<std::int32_t> limits;
    for (const auto current : largest) limits.push_back(Look(current));
    return limits;
  }
  void Charge(bool charging) {
    mBlackout->SetChargingState(charging ? ipc::EChargingStateCharging : ipc::EChargingStateConnected);
  }
  /// In force at the given current, half a minute after charging began.
  void Regulate(float ampere) {
    Start();
    Look(10000);
    Charge(true);
    mPresent = ampere;
    for (int i = 0; i < 27; ++i) Look(24000);
    mLimits.clear();
  }

  std::shared_ptr<CSource> mSource = std::make_shared<CSource>();
  std::shared_ptr<CBlackoutProtection> mBlackout;
  float mPresent = 16.0F;
  std::vector<std::int32_t> mLimits;
};

TEST_F(CBlackoutProtectionTest, ChargingIsHeldUntilTheHouseWasLookedAtAndMayThenUseWhatTheFuseHasLeft) {
  Start();
  time.RunFor(kPeriod - 1ms);
  EXPECT_THAT(mLimits, ElementsAre(0)) << "the current limiter is told, though it is no change";
  // Too small a change for the diagnostics signals, and never below 0.
  EXPECT_THAT(Looks({10000, 10200, 24000}), ElementsAre(13750, 13550, 0));
  EXPECT_THAT(mBlackout->GetAllowanceCurrent(), ElementsAre(24900, 1000, 25500));
  EXPECT_THAT(Told(),
              EndsWith("13750 mA; 30100 0.1 10 -0.5 0.1 24 -0.5; 30101 0 0 0 13.75 13.75 13.75 0 0 0"));
}

TEST_F(CBlackoutProtectionTest, InTheFirstHalfMinuteOfChargingTheLimitIsOnlyReduced) {
  Start();
  Look(10000);
  Charge(true);
  for (int i = 0; i <= 24; ++i) ASSERT_EQ(Look(i == 3 ? 24999 : 1000), 13750) << i;
  EXPECT_EQ(Look(1000), 19750) << "more than 30 s after the start: 16 A and a large step";
  Charge(false);
  Charge(true);
  EXPECT_EQ(Look(25000), 14750) << "down to 95 % at once";
}

TEST_F(CBlackoutProtectionTest, RegulatesInStepsByTheLargestPhase) {
  Regulate(16.0F);
  EXPECT_THAT(Looks({21249, 21250, 23749, 23750, 24999, 25000, 26000, 31249, 31250, 1000}),
              ElementsAre(19750, 16500, 16500, 16500, 16500, 14750, 13750, 8501, 0, 0));
  Charge(false);  // until now nobody has seen that the vehicle stopped
  EXPECT_EQ(Look(1000), 22750);
  EXPECT_THAT(mLimits, ElementsAre(19750, 16500, 14750, 13750, 8501, 0, 22750)) << "each told once";
}

TEST_F(CBlackoutProtectionTest, ReducesToNothingBelowSixAmpereAndStopsWhenThatDoesNotHelp) {
  Regulate(6.0F);
  EXPECT_EQ(Look(27000), 6000);
  for (int i = 0; i < 16; ++i) ASSERT_EQ(Look(25000), 6000) << "held for 20 s";
  EXPECT_THAT(Looks({24999, 25000}), ElementsAre(6000, 0)) << "stops when it is above the fuse now";
  Charge(false);
  Regulate(6.0F);
  // Goes on from the hold, and a reduction to 0 is one.
  EXPECT_THAT(Looks({27000, 23750, 23749, 29750}), ElementsAre(6000, 6000, 6500, 0));
}

TEST_F(CBlackoutProtectionTest, AMeterWithoutCurrentsIsAskedAgainTwiceThenTheFallbackHolds) {
  mSource->mHas = false;
  Start();
  EXPECT_THAT(Looks({1000, 1000}), ElementsAre(0, 0));
  settings->Set("BopFallbackCurrent", 7000);
  EXPECT_THAT(Looks({1000, 1000, 1000}), ElementsAre(7000, 7000, 7000));
  EXPECT_TRUE(mBlackout->IsInError());
  const std::string retrying = "BOP cannot obtain current measurements, retrying...; ";
  EXPECT_THAT(Told(), AllOf(StartsWith(retrying + retrying +
                                       "Smart meter not supported, cannot use for BOP. "
                                       "Limiting current to 7000 mA; "),
                            EndsWith("; 30105 true")));
  EXPECT_EQ(mSource->mDumps, 1);
  mSource->mHas = true;
  EXPECT_EQ(Look(1000), 22750);
  EXPECT_FALSE(mBlackout->IsInError());
  EXPECT_THAT(Told(), EndsWith("; 30105 false"));
}

TEST_F(CBlackoutProtectionTest, ASourceInErrorLeavesTheFallbackAndChargingGoesOnWhenItHasRecovered) {
  Regulate(16.0F);
  Told();
  mSource->mHandler(true);
  EXPECT_EQ(Look(1000), 6000);
  EXPECT_EQ(mSource->mDumps, 1);
  mSource->mHandler(false);
  // As if charging had just started, which it did long ago.
  EXPECT_THAT(Looks({1000, 1000}), ElementsAre(6000, 19750));
  EXPECT_THAT(Told(), MatchesRegex("Blackout protection measurement source is in error; .*"
                                   "Blackout protection measurement source is recovered; .*"
                                   "; 30103 true false; .*30105 false"));
  mBlackout->Disable();
  mLimits.clear();
  time.RunFor(10s);
  EXPECT_THAT(mLimits, IsEmpty());
  mSource->mHandler(true);
  mBlackout->Enable();
  EXPECT_THAT(mLimits, ElementsAre(6000));
  mBlackout.reset();
  mSource->mHandler(false);  // outlived it: nothing may happen
}

TEST_F(CBlackoutProtectionTest, WithoutASourceOrAFuseEverybodyIsToldAndTheFallbackHolds) {
  mBlackout = Standalone(nullptr);
  EXPECT_FALSE(mBlackout->Init());
  mBlackout->Enable();
  settings->Set("CurrentCtrlBopFuseRating", 0);
  mBlackout = Standalone(mSource);
  EXPECT_FALSE(mBlackout->Init());
  mBlackout->Enable();
  time.RunFor(10s);
  EXPECT_THAT(mLimits, ElementsAre(6000, 6000));
  EXPECT_TRUE(mBlackout->IsInError());
  EXPECT_THAT(Told(), MatchesRegex("There is no valid bop source supplied.; Blackout protection source not "
                                   "available; .*Invalid blackout protection fuse rating 0.; With invalid "
                                   "config, blackout protection cannot be enabled.; .*"
                                   "; 30101 6 6 6; 30102 true; 30103 true; 30104 true"));
}

TEST_F(CBlackoutProtectionTest, AGroupIsToldWhatTheFuseHasLeft) {
  const auto group = std::make_shared<CBlackoutProtectionDGLB>(time, mSource, config, kPeriod, Signals());
  ASSERT_TRUE(group->Init());
  group->Enable();
  for (const auto& [first, left] : {std::pair{20000, 3750}, {21999, 1751}}) {  // less than 2 A is no news
    mSource->mCurrents = {first, 26000, -1000};
    time.RunFor(kPeriod);
    EXPECT_THAT(group->GetAllowanceCurrent(), ElementsAre(left, -2250, 24750));
  }
  EXPECT_EQ(Told(), "30100 20 26 -1; 30101 3.75 -2.25 24.75");
  mSource->mHandler(true);
  time.RunFor(kPeriod);
  EXPECT_THAT(group->GetAllowanceCurrent(), ElementsAre(0, 0, 0));
  EXPECT_EQ(group->GetLimit().milliAmpere, 0);
}

TEST_F(CBlackoutProtectionTest, TheHouseTheSourceAndTheGroupMayComeAtOnce) {
  const CLogCapture quiet(ELevel::Critical);
  CRealScheduler scheduler;
  // Never started: it only keeps what is reported.
  const auto client = std::make_shared<CDiagnosticsCommClient>(
      scheduler, std::make_shared<Rpc::CClient>("Diagnostics", nullptr));
  std::atomic<int> limits{0};
  mSource->mCurrents = {10000, 0, 0};
  mBlackout = std::make_shared<CBlackoutProtection>(
      scheduler, mSource, config, 1ms, Signals([&](const CSignalDefinition& definition) {
        return std::make_shared<CDiagnosticsSignal>(definition, client);
      }),
      CBlackoutProtection::SCallbacks{[] { return 16.0F; }, [&limits](const SLimit&) { ++limits; }});
  ASSERT_TRUE(mBlackout->Init());
  std::thread source([this] {
    for (int i = 0; i < 2000; ++i) mSource->mHandler(i % 2 == 0);
  });
  for (int i = 0; i < 20; ++i) {
    mBlackout->Enable();
    for (int look = 0; look < 500; ++look) Charge(mBlackout->GetAllowanceCurrent()[0] == 15000);
    mBlackout->Disable();
  }
  source.join();
  EXPECT_FALSE(mBlackout->IsInError());
  EXPECT_GE(limits, 20);
}

}  // namespace
