#include "src/components/measurementsources/ct.h"

#include <atomic>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/worker/realscheduler.h"
#include "src/components/currentcontrolconfig.h"
#include "src/diagnosticssignals/diagnosticssignals.h"
#include "support/diagnosticsrecord.h"
#include "support/memoryconfig.h"
#include "support/scriptedchip.h"

namespace {

using enum EMeasureType;
using ELevel = Log::ELogLevel;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr auto kReset = "Ade7854 was reset while actively monitoring BOP lines, re-init chip.";
constexpr auto kInitFailed = "Ade7854 Initialization failed";
constexpr auto kBack = "Ade7854 could be initialized, measuring currents from now on";
constexpr auto kUnreadable =
    "The current registers cannot be read, keeping the last currents: [2875, 0, 5750] mA";
/// Registers of 99 and of 100 mA.
constexpr std::uint32_t kBelowThreshold = 3477;
constexpr std::uint32_t kAtThreshold = 3478;

class CCtTest : public ::testing::Test {
 protected:
  std::unique_ptr<CCt> MakeCt(IScheduler& scheduler, const Json::Value& type, CCt::SPeriods periods = {}) {
    Json::Value parameters;
    parameters["type"] = type;
    CCtPlausibility::Signals signals;
    for (std::size_t phase = 0; phase < signals.size(); ++phase) {
      signals[phase] = mDiagnostics.Signal(DiagnosticsSignals::kImplausibleCt[phase]);
    }
    auto ct = std::make_unique<CCt>(
        scheduler, std::make_unique<CScriptedChip>(mChip),
        std::make_shared<CCurrentControlConfig>(mSettings, mHwinfo), parameters, periods,
        [this] { return mMeterData; }, std::move(signals));
    ct->RegisterErrorHandler([this](bool error) { mErrors.push_back(error); });
    return ct;
  }
  void Make(const Json::Value& type = "C-CT-16") { mCt = MakeCt(mScheduler, type); }
  void Run(std::int64_t ms) { mScheduler.RunFor(Milliseconds{ms}); }
  /// What the handlers were told since the last time.
  std::vector<bool> TakeErrors() { return std::exchange(mErrors, {}); }
  ThreePhaseValue Average() { return mCt->GetMeasurementAverage(Current, kStorageTime); }

  CLogCapture mLog{ELevel::Info};
  CVirtualScheduler mScheduler;
  CDiagnosticsRecord mDiagnostics{mScheduler};
  std::shared_ptr<CMemoryConfig> mSettings = std::make_shared<CMemoryConfig>();
  std::shared_ptr<CMemoryConfig> mHwinfo = std::make_shared<CMemoryConfig>(
      std::map<std::string, Json::Value, std::less<>>{{"HwOneOrThreePhase", 3},
                                                      {"BopCalIGainA", 11},
                                                      {"BopCalIGainB", -12},
                                                      {"BopCalIGainC", 13},
                                                      {"BopCalIRmsOffsetA", -21},
                                                      {"BopCalIRmsOffsetB", 22},
                                                      {"BopCalIRmsOffsetC", 23}});
  SChipScript mChip;
  SStationMeterData mMeterData;
  std::vector<bool> mErrors;
  std::unique_ptr<CCt> mCt;
};

TEST_F(CCtTest, TurnsRegistersIntoMilliAmpere) {
  const struct {
    const char* type;
    std::uint16_t pgaGain;
    std::uint32_t raw;
    std::int32_t milliAmpere;
    std::string warning;  // what it says of the current
  } kCases[] = {{"C-CT-16", 2, 4191910, 120529, "120.529564A > 100A"},
                {"C-CT-16", 2, 100000, 2875, ""},
                {"C-CT-24", 1, 4294967295, 246985520, "246985.52A > 200A"},
                {"C-CT-10", 4, 4191910, 60264, "60.264782A > 60A"},
                {"TT 50-SD", 4, 4191910, 60264, "60.264782A > 50A"},
                {"TT 100-SD", 2, 4191910, 120529, "120.529564A > 100A"},
                {"SCT013", 1, 4191910, 160706, "160.70609A > 100A"},
                {"SCT010", 2, 4191910, 80353, "80.35304A > 80A"},
                {"CTK05-14", 2, 4191910, 120529, "120.529564A > 70A"},
                {"C/CT-0810", 2, 4191910, 120529, "120.529564A > 80A"},
                {"C-CT-1216-50-04", 1, 4191910, 241059, "241.05913A > 150A"}};
  for (const auto& [type, pgaGain, raw, milliAmpere, warning] : kCases) {
    mLog.Clear();
    mChip.Set(0, raw, 0);
    Make(type);
    ASSERT_TRUE(mCt->Init());
    EXPECT_THAT(mChip.pgaGains, ElementsAre(pgaGain)) << type;
    EXPECT_THAT(mCt->GetMeasurements(Current), ElementsAre(0, milliAmpere, 0)) << type;
    const auto text =
        fmt::format("Current on CT is higher than nominal ({}), measurement might not be accurate.", warning);
    EXPECT_EQ(mLog.Texts(ELevel::Warning), std::vector<std::string>(warning.empty() ? 0 : 1, text)) << type;
  }
  EXPECT_EQ(mLog.Count("Meter not configured, CT plausibility reporting is not available"), 1);
  EXPECT_THAT(mChip.calibrations,
              ElementsAre(ElementsAre(11, 0, 0, -21), ElementsAre(-12, 0, 0, 22), ElementsAre(13, 0, 0, 23)));
  mHwinfo->Set("HwOneOrThreePhase", 1);
  ASSERT_TRUE(mCt->Init());
  EXPECT_THAT(mChip.calibrations, ElementsAre(ElementsAre(11, 0, 0, -21)));
}

TEST_F(CCtTest, SaysThatTransformersAreTooSmallForTheFuse) {
  mSettings->Set("CurrentCtrlBopFuseRating", 48);
  Make("C-CT-10");
  ASSERT_TRUE(mCt->Init());
  EXPECT_THAT(mLog.Texts(ELevel::Error), IsEmpty());
  mSettings->Set("CurrentCtrlBopFuseRating", 49);
  ASSERT_TRUE(mCt->Init());
  EXPECT_THAT(
      mLog.Texts(ELevel::Error),
      ElementsAre("Transformers of type C-CT-10 measure at most 60264 mA, which is too little for a main "
                  "fuse of 49000 mA: overloads will not be seen"));
}

TEST_F(CCtTest, TransformersThatAreUnknownStayInError) {
  for (const auto& [type, text] : std::vector<std::pair<Json::Value, std::string>>{
           {"c-ct-16", "c-ct-16"}, {"C-CT-16 ", "C-CT-16"}, {{}, ""}, {"a\nb", "a b"}}) {
    Make(type);
    EXPECT_FALSE(mCt->Init());
    Run(60000);
    EXPECT_EQ(mLog.Count("Unknown Ct type configured: " + text), 1);
    EXPECT_THAT(TakeErrors(), ElementsAre(true));
    EXPECT_FALSE(mCt->HasMeasurement(Current));
  }
  EXPECT_EQ(mChip.initializations, 0);
  EXPECT_EQ(mLog.Lines().size(), 8U) << "each with the types that there are";
}

TEST_F(CCtTest, TriesAChipThatFailsUntilItCanBeReadAgain) {
  mChip.Set(100000, 0, 200000);
  mChip.canBeInitialized = false;
  mChip.isReadable = false;
  Make();
  EXPECT_FALSE(mCt->Init());
  EXPECT_THAT(TakeErrors(), ElementsAre(true));
  Run(60000);
  EXPECT_EQ(mChip.initializations, 13);
  EXPECT_THAT(mLog.Texts(ELevel::Error), ElementsAre(kInitFailed));
  EXPECT_FALSE(mCt->HasMeasurement(Current));

  mChip.canBeInitialized = true;
  Run(5000);
  EXPECT_EQ(mLog.Count(kBack), 1);
  EXPECT_TRUE(mCt->HasMeasurement(Current));
  Run(5000);
  EXPECT_EQ(mChip.initializations, 14);
  EXPECT_THAT(mErrors, IsEmpty());
  mChip.isReadable = true;
  Run(1250);
  EXPECT_THAT(TakeErrors(), ElementsAre(false));

  // And the same after a reset.
  mLog.Clear();
  mChip.isRunning = false;
  for (int ms = 0; ms < 5000 && mChip.initializations < 15; ++ms) Run(1);
  EXPECT_EQ(mChip.initializations, 15);
  EXPECT_THAT(mLog.Texts(ELevel::Error), ElementsAre(kReset));
  EXPECT_THAT(mErrors, IsEmpty());
  mChip.Set(0, 0, 0);
  Run(1200);
  EXPECT_THAT(mCt->GetMeasurements(Current), ElementsAre(2875, 0, 5750)) << "it still climbs from 0";
  Run(1);
  EXPECT_THAT(mCt->GetMeasurements(Current), ElementsAre(0, 0, 0));
  mChip.Set(100000, 0, 200000);
  Run(1250);
  EXPECT_THAT(mCt->GetMeasurementAverage(Current, kSamplingPeriod), ElementsAre(2875, 0, 5750));

  mChip.isRunning = false;
  mChip.canBeInitialized = false;
  Run(30000);
  EXPECT_THAT(mLog.Texts(ELevel::Error), ElementsAre(kReset, kReset, "Re-init failed as well."));
  EXPECT_THAT(TakeErrors(), ElementsAre(true));
  EXPECT_FALSE(mCt->HasMeasurement(Current));
  EXPECT_THAT(Average(), ElementsAre(0, 0, 0));

  bool hadSamples = false;
  mCt->RegisterErrorHandler([&](bool) { hadSamples = Average()[0] == 2875; });
  mChip.canBeInitialized = true;
  Run(5000);
  EXPECT_THAT(TakeErrors(), ElementsAre(false));
  EXPECT_TRUE(hadSamples);
  EXPECT_EQ(mLog.Count(kBack), 1);
}

TEST_F(CCtTest, KeepsTheLastCurrentsWhileItCannotRead) {
  mChip.Set(100000, 0, 200000);
  Make();
  ASSERT_TRUE(mCt->Init());
  Run(0);
  mChip.isReadable = false;
  Run(30000);
  EXPECT_THAT(TakeErrors(), ElementsAre(true));
  EXPECT_THAT(Average(), ElementsAre(2875, 0, 5750));
  EXPECT_THAT(mLog.Texts(ELevel::Error), ElementsAre(kUnreadable));

  mChip.isReadable = true;
  mChip.Set(0, 0, 0);
  EXPECT_THAT(mCt->GetMeasurements(Current), ElementsAre(0, 0, 0));
  EXPECT_THAT(mErrors, IsEmpty());  // told on the worker
  Run(30000);
  EXPECT_THAT(TakeErrors(), ElementsAre(false));
  EXPECT_EQ(mLog.Count("The current registers can be read again"), 1);

  // What nobody was told before the worker stopped is told when it goes on.
  mChip.isReadable = false;
  mCt->GetMeasurements(Current);
  mCt->DeInit();
  EXPECT_FALSE(mCt->HasMeasurement(Current));
  const int initializations = mChip.initializations;
  Run(60000);
  EXPECT_EQ(mChip.initializations, initializations);
  EXPECT_THAT(mErrors, IsEmpty());
  ASSERT_TRUE(mCt->Init());
  EXPECT_THAT(TakeErrors(), ElementsAre(true));
  mChip.isReadable = true;
  Run(1250);
  EXPECT_THAT(TakeErrors(), ElementsAre(false));
}

TEST_F(CCtTest, JudgesNoChipThatHasNotSettled) {
  mHwinfo->Set("HwHasMeter", true);
  mSettings->Set("BopCtDetectionReportInterval", 0);
  mMeterData.milliAmpere[0] = 8600;
  mChip.Set(300000, 0, 0);
  mChip.canBeInitialized = false;
  Make();
  EXPECT_FALSE(mCt->Init());
  Run(60000);
  mChip.canBeInitialized = true;
  Run(6250);
  EXPECT_THAT(TakeErrors(), ElementsAre(true, false));
  EXPECT_TRUE(mCt->Init()) << "once more, while it measures";
  Run(0);
  EXPECT_EQ(Average()[0], 8625) << "the last currents hold until it has settled";
  Run(30000);
  EXPECT_THAT(mErrors, IsEmpty());
  EXPECT_THAT(mLog.Texts(ELevel::Warning), IsEmpty());
}

TEST_F(CCtTest, ReportsCurrentsThatTheMeterContradicts) {
  mHwinfo->Set("HwHasMeter", true);
  mSettings->Set("BopCtDetectionReportInterval", 25);
  mChip.Set(kAtThreshold, kBelowThreshold, 0);
  mMeterData.milliAmpere[0] = 16000;
  mMeterData.milliAmpere[1] = 1000;
  mMeterData.milliAmpere[2] = 900;
  Make();
  ASSERT_TRUE(mCt->Init());
  Run(24000);
  EXPECT_THAT(mErrors, IsEmpty());
  mMeterData.milliAmpere[1] = 1001;
  Run(1000);  // at exactly the interval: in error at once, and not reported
  EXPECT_THAT(TakeErrors(), ElementsAre(true));
  EXPECT_THAT(mLog.Lines(), IsEmpty());
  Run(5000);
  EXPECT_THAT(mLog.Texts(ELevel::Warning), ElementsAre("Found implausible CT at phase 2"));
  EXPECT_THAT(mDiagnostics.Take(), ElementsAre(Pair(30201, ElementsAre("true"))));

  // Another phase 10 s later waits for the interval after that report; two may be reported together.
  Run(9000);
  mMeterData.milliAmpere[2] = 16000;
  mMeterData.milliAmpere[0] = 900;
  Run(1000);
  mSettings->Set("BopCtDetectionTreshold", 99);
  Run(15000);
  EXPECT_THAT(mDiagnostics.Take(), IsEmpty());
  Run(10000);
  EXPECT_THAT(mDiagnostics.Take(),
              ElementsAre(Pair(30201, ElementsAre("false")), Pair(30202, ElementsAre("true"))));
  EXPECT_EQ(mLog.Count("Warning for implausible CT at phase 2 cleared"), 1);

  // A silent meter judges no phase: what was reported stays.
  mMeterData = {};
  Run(60000);
  EXPECT_THAT(TakeErrors(), ElementsAre(false));
  EXPECT_THAT(mDiagnostics.Take(), IsEmpty());

  // Switched off, while the chip is away too, nothing stays behind.
  mMeterData.milliAmpere[2] = 16000;
  for (const bool isAway : {false, true}) {
    mSettings->Set("BopCtDetectionEnable", true);
    Run(65000);
    EXPECT_THAT(TakeErrors(), ElementsAre(true));
    mChip.canBeInitialized = mChip.isRunning = !isAway;
    Run(5000);
    mSettings->Set("BopCtDetectionEnable", false);
    mChip.canBeInitialized = true;
    mDiagnostics.Take();
    Run(35000);
    EXPECT_THAT(TakeErrors(), ElementsAre(false));
    EXPECT_THAT(mDiagnostics.Take(),
                ElementsAre(Pair(30200, ElementsAre("false")), Pair(30201, ElementsAre("false")),
                            Pair(30202, ElementsAre("false"))));
  }
  EXPECT_EQ(mLog.Count("Found implausible CT at phase 3"), 2) << "reported anew";
}

TEST_F(CCtTest, ManyThreadsMeasureWhileItStartsAndStops) {
  CLogCapture quiet(ELevel::Critical);
  CRealScheduler scheduler;
  mChip.Set(100000, 0, 200000);
  const Milliseconds often{1};
  std::atomic<int> told{0};
  const auto ct = MakeCt(scheduler, "C-CT-16", {often, 24 * often, often, often, often, 24 * often, often});
  ct->RegisterErrorHandler([&told](bool) { ++told; });
  std::atomic<bool> isDone{false};
  std::atomic<int> readings{0};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 2; ++thread) {
    threads.emplace_back([&] {
      while (!isDone) {
        const auto value = ct->GetMeasurements(Current);
        EXPECT_TRUE(value == ThreePhaseValue({2875, 0, 5750}) || value == ThreePhaseValue({0, 0, 0}));
        if (value[0] != 0) ++readings;
        EXPECT_LE(ct->GetMeasurementAverage(Current, often * 5)[0], 2875);
        ct->HasMeasurement(Current);
      }
    });
  }
  for (int round = 0; round < 40; ++round) {
    mChip.canBeInitialized = round % 4 != 0;
    mChip.isRunning = round % 3 != 0;
    mChip.isReadable = round % 5 != 0;
    EXPECT_EQ(ct->Init(), round % 4 != 0);
    const int before = readings;
    while (round % 20 == 1 && readings < before + 10) std::this_thread::yield();
    if (round % 2 != 0) continue;
    ct->DeInit();
    EXPECT_FALSE(ct->HasMeasurement(Current));
  }
  isDone = true;
  for (auto& thread : threads) thread.join();
  EXPECT_GT(told, 0);
}

}  // namespace
