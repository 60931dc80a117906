#include "src/components/blackoutprotection/blackoutprotection.h"

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/worker/realscheduler.h"
#include "src/components/blackoutprotection/blackoutprotectiondglb.h"
#include "src/components/currentcontrolconfig.h"
#include "src/diagnosticssignals/diagnosticssignals.h"
#include "support/diagnosticsrecord.h"
#include "support/memoryconfig.h"

namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;
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

class CBlackoutProtectionTest : public ::testing::Test {
 protected:
  std::shared_ptr<CBlackoutProtection> Standalone(std::shared_ptr<IMeasurementSource> source) {
    return std::make_shared<CBlackoutProtection>(
        mScheduler, std::move(source), Config(), kPeriod, Signals(),
        CBlackoutProtection::SCallbacks{[this] { return mPresent; },
                                        [this](const SLimit& limit) {
                                          EXPECT_EQ(limit.source, ipc::ECurrentControlBop);
                                          EXPECT_EQ(limit.phases, 3U);
                                          mLimits.push_back(limit.milliAmpere);
                                        }});
  }
  std::shared_ptr<CCurrentControlConfig> Config() {
    return std::make_shared<CCurrentControlConfig>(mSettings, std::make_shared<CMemoryConfig>());
  }
  CBlackoutProtectionBase::SSignals Signals() {
    return Signals([this](const CSignalDefinition& definition) { return mDiagnostics.Signal(definition); });
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
    mScheduler.RunFor(kPeriod);
    return mBlackout->GetLimit().milliAmpere;
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

  CVirtualScheduler mScheduler;
  CDiagnosticsRecord mDiagnostics{mScheduler};
  std::shared_ptr<CMemoryConfig> mSettings = std::make_shared<CMemoryConfig>(
      std::map<std::string, Json::Value, std::less<>>{{"CurrentCtrlBopFuseRating", 25}});
  std::shared_ptr<CSource> mSource = std::make_shared<CSource>();
  std::shared_ptr<CBlackoutProtection> mBlackout;
  float mPresent = 16.0F;
  std::vector<std::int32_t> mLimits;
};

TEST_F(CBlackoutProtectionTest, ChargingIsHeldUntilTheHouseWasLookedAtAndMayThenUseWhatTheFuseHasLeft) {
  Start();
  mScheduler.RunFor(kPeriod - 1ms);
  EXPECT_THAT(mLimits, ElementsAre(0)) << "the current limiter is told, though it is no change";
  EXPECT_EQ(Look(10000), 13750);
  EXPECT_EQ(Look(10200), 13550) << "too small a change for the diagnostics signals";
  EXPECT_EQ(Look(24000), 0) << "never below 0";
  EXPECT_EQ(Look(20000), 3750);
  EXPECT_THAT(mBlackout->GetAllowanceCurrent(), ElementsAre(24900, 5000, 25500));
  EXPECT_THAT(mDiagnostics.Take(),
              UnorderedElementsAre(
                  Pair(30100, ElementsAre("0.1 10 -0.5", "0.1 24 -0.5", "0.1 20 -0.5")),
                  Pair(30101, ElementsAre("0 0 0", "13.75 13.75 13.75", "0 0 0", "3.75 3.75 3.75"))));
}

TEST_F(CBlackoutProtectionTest, InTheFirstHalfMinuteOfChargingTheLimitIsOnlyReduced) {
  Start();
  Look(10000);
  Charge(true);
  for (int i = 0; i <= 24; ++i) ASSERT_EQ(Look(i == 3 ? 24999 : 1000), 13750) << i;
  EXPECT_EQ(Look(1000), 19750) << "more than 30 s after the start: 16 A and a large step";
  Charge(false);
  EXPECT_EQ(Look(2000), 21750);
  Charge(true);
  mPresent = 21.75F;
  EXPECT_EQ(Look(25000), 20500) << "down to 95 % at once";
}

TEST_F(CBlackoutProtectionTest, RegulatesInStepsByTheLargestPhase) {
  Regulate(16.0F);
  const std::pair<std::int32_t, std::int32_t> looks[] = {{21249, 19750}, {21250, 16500}, {23749, 16500},
                                                         {23750, 16500}, {24999, 16500}, {25000, 14750},
                                                         {26000, 13750}, {31249, 8501},  {31250, 0}};
  for (const auto& [largest, limit] : looks) EXPECT_EQ(Look(largest), limit) << largest;
  EXPECT_EQ(Look(1000), 0) << "until the vehicle is seen to have stopped";
  Charge(false);
  EXPECT_EQ(Look(1000), 22750);
  EXPECT_THAT(mLimits, ElementsAre(19750, 16500, 14750, 13750, 8501, 0, 22750)) << "each told once";
}

TEST_F(CBlackoutProtectionTest, ReducesToNothingBelowSixAmpereAndStopsWhenThatDoesNotHelp) {
  Regulate(6.0F);
  EXPECT_EQ(Look(27000), 6000);
  for (int i = 0; i < 16; ++i) ASSERT_EQ(Look(25000), 6000) << "held for 20 s";
  EXPECT_EQ(Look(24999), 6000) << "not above the fuse now";
  EXPECT_EQ(Look(25000), 0);

  Charge(false);
  Look(0);
  Regulate(6.0F);
  EXPECT_EQ(Look(27000), 6000);
  EXPECT_EQ(Look(23750), 6000);
  EXPECT_EQ(Look(23749), 6500) << "goes on from the hold";
  EXPECT_EQ(Look(29750), 0) << "a reduction to 0 is one";
}

TEST_F(CBlackoutProtectionTest, AMeterWithoutCurrentsIsAskedAgainTwiceThenTheFallbackHolds) {
  const CLogCapture log(ELevel::Info);
  mSource->mHas = false;
  Start();
  for (int i = 0; i < 2; ++i) EXPECT_EQ(Look(1000), 0);
  EXPECT_FALSE(mBlackout->IsInError());
  mSettings->Set("BopFallbackCurrent", 7000);
  EXPECT_EQ(Look(1000), 7000);
  EXPECT_TRUE(mBlackout->IsInError());
  for (int i = 0; i < 4; ++i) EXPECT_EQ(Look(1000), 7000);
  EXPECT_EQ(log.Count("BOP cannot obtain current measurements, retrying..."), 2);
  EXPECT_THAT(log.Texts(ELevel::Error),
              ElementsAre("Smart meter not supported, cannot use for BOP. Limiting current to 7000 mA"));
  EXPECT_EQ(mSource->mDumps, 1);
  EXPECT_THAT(mDiagnostics.Take(), Contains(Pair(30105, ElementsAre("true"))));

  mSource->mHas = true;
  EXPECT_EQ(Look(1000), 22750);
  EXPECT_FALSE(mBlackout->IsInError());
  EXPECT_THAT(mDiagnostics.Take(), Contains(Pair(30105, ElementsAre("false"))));
}

TEST_F(CBlackoutProtectionTest, ASourceInErrorLeavesTheFallbackAndChargingGoesOnWhenItHasRecovered) {
  Regulate(16.0F);
  mDiagnostics.Take();
  const CLogCapture log(ELevel::Info);
  mSource->mHandler(true);
  EXPECT_EQ(Look(1000), 6000);
  EXPECT_EQ(mSource->mDumps, 1);
  mSource->mHandler(false);
  EXPECT_EQ(Look(1000), 6000) << "as if charging had just started";
  EXPECT_EQ(Look(1000), 19750) << "which it did long ago";
  EXPECT_EQ(log.Count("Blackout protection measurement source is in error"), 1);
  EXPECT_EQ(log.Count("Blackout protection measurement source is recovered"), 1);
  const auto reports = mDiagnostics.Take();
  EXPECT_THAT(reports, Contains(Pair(30103, ElementsAre("true", "false"))));
  EXPECT_THAT(reports, Contains(Pair(30105, ElementsAre("false"))));

  mBlackout->Disable();
  mLimits.clear();
  mScheduler.RunFor(10s);
  EXPECT_THAT(mLimits, IsEmpty());
  mSource->mHandler(true);
  mBlackout->Enable();
  EXPECT_THAT(mLimits, ElementsAre(6000));
  EXPECT_THAT(mDiagnostics.Take(), Contains(Pair(30103, ElementsAre("true"))));
  mBlackout.reset();
  mSource->mHandler(false);  // outlived it: nothing may happen
}

TEST_F(CBlackoutProtectionTest, WithoutASourceOrAFuseEverybodyIsToldAndTheFallbackHolds) {
  const CLogCapture log(ELevel::Warning);
  mBlackout = Standalone(nullptr);
  EXPECT_FALSE(mBlackout->Init());
  mBlackout->Enable();
  EXPECT_TRUE(mBlackout->IsInError());
  EXPECT_THAT(mDiagnostics.Take(),
              UnorderedElementsAre(Pair(30101, ElementsAre("6 6 6")), Pair(30102, ElementsAre("true")),
                                   Pair(30103, ElementsAre("true"))));
  mSettings->Set("CurrentCtrlBopFuseRating", 0);
  mBlackout = Standalone(mSource);
  EXPECT_FALSE(mBlackout->Init());
  mBlackout->Enable();
  mScheduler.RunFor(10s);
  EXPECT_THAT(mLimits, ElementsAre(6000, 6000));
  EXPECT_THAT(
      log.Texts(ELevel::Error),
      ElementsAre("There is no valid bop source supplied.", "Blackout protection source not available",
                  "Invalid blackout protection fuse rating 0.",
                  "With invalid config, blackout protection cannot be enabled."));
  EXPECT_THAT(mDiagnostics.Take(),
              UnorderedElementsAre(Pair(30101, ElementsAre("6 6 6")), Pair(30103, ElementsAre("true")),
                                   Pair(30104, ElementsAre("true"))));
}

TEST_F(CBlackoutProtectionTest, AGroupIsToldWhatTheFuseHasLeft) {
  const auto group =
      std::make_shared<CBlackoutProtectionDGLB>(mScheduler, mSource, Config(), kPeriod, Signals());
  ASSERT_TRUE(group->Init());
  group->Enable();
  for (const auto& [first, left] : {std::pair{20000, 3750}, {21999, 1751}}) {  // less than 2 A is no news
    mSource->mCurrents = {first, 26000, -1000};
    mScheduler.RunFor(kPeriod);
    EXPECT_THAT(group->GetAllowanceCurrent(), ElementsAre(left, -2250, 24750));
  }
  EXPECT_THAT(mDiagnostics.Take(), UnorderedElementsAre(Pair(30100, ElementsAre("20 26 -1")),
                                                        Pair(30101, ElementsAre("3.75 -2.25 24.75"))));
  mSource->mHandler(true);
  mScheduler.RunFor(kPeriod);
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
      scheduler, mSource, Config(), 1ms, Signals([&](const CSignalDefinition& definition) {
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
