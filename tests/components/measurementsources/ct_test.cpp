#include "src/components/measurementsources/ct.h"

#include <atomic>
#include <fstream>
#include <thread>

#include "components/componentstation.h"
#include "platform/worker/realscheduler.h"
#include "src/components/measurementsources/cttypes.h"
#include "support/scriptedchip.h"

namespace {

using enum EMeasureType;
using ELevel = Log::ELogLevel;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

constexpr auto kReset = "Ade7854 was reset while actively monitoring BOP lines, re-init chip.";
constexpr auto kNoMeter = "Meter not configured, CT plausibility reporting is not available";
/// Registers of 99 and of 100 mA.
constexpr std::uint32_t kBelowThreshold = 3477, kAtThreshold = 3478;

class CCtTest : public ::testing::Test, protected SComponentStation {
 protected:
  CCtTest() {
    hwinfo->Set("HwOneOrThreePhase", 3);
    mChip.Set(100000, 0, 200000);
  }
  std::unique_ptr<CCt> MakeCt(IScheduler& scheduler, const Json::Value& type, CCt::SPeriods periods = {}) {
    Json::Value parameters;
    parameters["type"] = type;
    CCtPlausibility::Signals signals;
    for (std::size_t phase = 0; phase < signals.size(); ++phase) {
      signals[phase] = diagnostics.Signal(DiagnosticsSignals::kImplausibleCt[phase]);
    }
    auto ct = std::make_unique<CCt>(
        scheduler, std::make_unique<CScriptedChip>(mChip), config, parameters, periods,
        [this] { return mMeterData; }, std::move(signals));
    ct->RegisterErrorHandler([this](bool error) { told.emplace_back(error ? "in error" : "good"); });
    return ct;
  }
  bool Init(const Json::Value& type = "C-CT-16") {
    mCt = MakeCt(time, type);
    return mCt->Init();
  }
  void Run(std::int64_t ms) { time.RunFor(Milliseconds{ms}); }
  ThreePhaseValue Average() { return mCt->GetMeasurementAverage(Current, kStorageTime); }
  void ExpectLive(std::int32_t one, std::int32_t two, std::int32_t three) {
    EXPECT_THAT(mCt->GetMeasurements(Current), ElementsAre(one, two, three));
  }

  SChipScript mChip;
  SStationMeterData mMeterData;
  std::unique_ptr<CCt> mCt;
};

TEST_F(CCtTest, TurnsRegistersIntoMilliAmpere) {
  const struct {
    const char* type;
    std::uint32_t raw;
    std::int32_t milliAmpere;
    std::string warning;  // what it says of the current
  } kCases[] = {{"C-CT-16", 4191910, 120529, "120.529564A > 100A"},
                {"C-CT-16", 100000, 2875, ""},
                {"C-CT-24", 4294967295, 246985520, "246985.52A > 200A"},
                {"TT 50-SD", 4191910, 60264, "60.264782A > 50A"},
                {"SCT013", 4191910, 160706, "160.70609A > 100A"}};
  for (const auto& [type, raw, milliAmpere, warning] : kCases) {
    mChip.Set(0, raw, 0);
    ASSERT_TRUE(Init(type));
    Told();
    ExpectLive(0, milliAmpere, 0);
    const auto text =
        fmt::format("Current on CT is higher than nominal ({}), measurement might not be accurate.", warning);
    EXPECT_EQ(Told(), warning.empty() ? "" : text);
  }
  EXPECT_THAT(mChip.pgaGains, ElementsAre(1));
  mChip.Set(0, 0, 0);
  EXPECT_EQ(mChip.calibrations.size(), 3U);
  hwinfo->Set("HwOneOrThreePhase", 1);
  hwinfo->Set("BopCalIGainA", 11);
  hwinfo->Set("BopCalIRmsOffsetA", -21);
  settings->Set("CurrentCtrlBopFuseRating", 48);
  ASSERT_TRUE(Init("C-CT-10"));
  EXPECT_THAT(mChip.calibrations, ElementsAre(ElementsAre(11, 0, 0, -21)));
  EXPECT_EQ(Told(), kNoMeter);
  settings->Set("CurrentCtrlBopFuseRating", 49);
  ASSERT_TRUE(mCt->Init());
  EXPECT_THAT(Told(), StartsWith("Transformers of type C-CT-10 measure at most 60264 mA, which is too little "
                                 "for a main fuse of 49000 mA: overloads will not be seen"));
}

TEST(CtTypes, AreThoseOfThePage) {
  std::ifstream page(BLACKOUT_PROTECTION_PAGE);
  int listed = 0;
  for (std::string row; std::getline(page, row);) {
    const std::string name = row.starts_with("| ") ? row.substr(2, row.find(" |") - 2) : "";
    const SCtType* type = FindCtType(name);
    if (type == nullptr) continue;
    EXPECT_THAT(row, StartsWith(fmt::format("| {} | {} | {} | {} |", name, type->turnsRatio,
                                            type->nominalCurrent, type->pgaGain)));
    ++listed;
  }
  EXPECT_EQ(listed, 10);
}

TEST_F(CCtTest, TransformersThatAreUnknownStayInError) {
  for (const auto& [type, text] :
       std::vector<std::pair<Json::Value, std::string>>{{"c-ct-16", "c-ct-16"}, {{}, ""}, {"a\nb", "a b"}}) {
    EXPECT_FALSE(Init(type));
    EXPECT_THAT(Told(Milliseconds{60000}),
                StartsWith("in error; Unknown Ct type configured: " + text +
                           "; The transformers' type, as it is set, must be one of: C-CT-10, "));
    EXPECT_FALSE(mCt->HasMeasurement(Current));
  }
  EXPECT_EQ(mChip.initializations, 0);
}

TEST_F(CCtTest, TriesAChipThatFailsUntilItCanBeReadAgain) {
  const std::string back = "Ade7854 could be initialized, measuring currents from now on";
  mChip.canBeInitialized = false;
  mChip.isReadable = false;
  EXPECT_FALSE(Init());
  EXPECT_EQ(Told(Milliseconds{60000}), "in error; Ade7854 Initialization failed");
  EXPECT_EQ(mChip.initializations, 13);
  mChip.canBeInitialized = true;
  EXPECT_THAT(Told(Milliseconds{10000}),
              StartsWith(back + "; " + kNoMeter + "; The current registers cannot be read, "));
  EXPECT_EQ(mChip.initializations, 14);
  mChip.isReadable = true;
  EXPECT_EQ(Told(Milliseconds{1250}), "good; The current registers can be read again");

  // And the same after a reset.
  mChip.isRunning = false;
  for (int ms = 0; ms < 5000 && mChip.initializations < 15; ++ms) Run(1);
  mChip.Set(0, 0, 0);
  Run(1200);
  ExpectLive(2875, 0, 5750);  // it still climbs from 0
  Run(1);
  ExpectLive(0, 0, 0);
  EXPECT_EQ(Told(), kReset);
  mChip.Set(100000, 0, 200000);
  Run(1250);
  mChip.isRunning = false;
  mChip.canBeInitialized = false;
  EXPECT_EQ(Told(Milliseconds{30000}), std::string("in error; ") + kReset + "; Re-init failed as well.");
  EXPECT_FALSE(mCt->HasMeasurement(Current));
  EXPECT_THAT(Average(), ElementsAre(0, 0, 0));
  mCt->RegisterErrorHandler([this](bool) { told.push_back(std::to_string(Average()[0])); });
  mChip.canBeInitialized = true;
  EXPECT_EQ(Told(Milliseconds{5000}), "good; 2875; " + back + "; " + kNoMeter) << "with samples at once";
}

TEST_F(CCtTest, KeepsTheLastCurrentsWhileItCannotRead) {
  ASSERT_TRUE(Init());
  EXPECT_EQ(Told(), kNoMeter);
  mChip.isReadable = false;
  EXPECT_EQ(Told(Milliseconds{30000}),
            "in error; The current registers cannot be read, keeping the last currents: [2875, 0, 5750] mA");
  EXPECT_THAT(Average(), ElementsAre(2875, 0, 5750));
  mChip.isReadable = true;
  mChip.Set(0, 0, 0);
  ExpectLive(0, 0, 0);
  EXPECT_TRUE(told.empty()) << "told on the worker";
  EXPECT_EQ(Told(), "good; The current registers can be read again");

  // What nobody was told before the worker stopped is told when it goes on.
  mChip.isReadable = false;
  ExpectLive(0, 0, 0);
  mCt->DeInit();
  EXPECT_FALSE(mCt->HasMeasurement(Current));
  EXPECT_THAT(Told(Milliseconds{60000}), StartsWith("The current registers cannot be read"));
  EXPECT_EQ(mChip.initializations, 1);
  ASSERT_TRUE(mCt->Init());
  EXPECT_THAT(Told(), StartsWith("in error"));
}

TEST_F(CCtTest, JudgesNoChipThatHasNotSettled) {
  hwinfo->Set("HwHasMeter", true);
  settings->Set("BopCtDetectionReportInterval", 0);
  mMeterData.milliAmpere[0] = 8600;
  mChip.canBeInitialized = false;
  EXPECT_FALSE(Init());
  Run(60000);
  mChip.canBeInitialized = true;
  EXPECT_THAT(Told(Milliseconds{6250}), StartsWith("in error; good; "));
  EXPECT_TRUE(mCt->Init()) << "once more, while it measures";
  Run(0);
  EXPECT_EQ(Average()[0], 2875) << "the last currents hold until it has settled";
  EXPECT_EQ(Told(Milliseconds{30000}), "");
}

TEST_F(CCtTest, ReportsCurrentsThatTheMeterContradicts) {
  const auto setMeter = [this](std::int32_t one, std::int32_t two, std::int32_t three) {
    mMeterData.milliAmpere = {one, two, three};
  };
  hwinfo->Set("HwHasMeter", true);
  settings->Set("BopCtDetectionReportInterval", 25);
  mChip.Set(kAtThreshold, kBelowThreshold, 0);
  setMeter(16000, 1000, 900);
  ASSERT_TRUE(Init());
  EXPECT_EQ(Told(Milliseconds{24000}), "");
  setMeter(16000, 1001, 900);
  EXPECT_EQ(Told(Milliseconds{1000}), "in error") << "at once, and reported only after the interval";
  EXPECT_EQ(Told(Milliseconds{5000}), "Found implausible CT at phase 2; 30201 true");
  // Others wait for the interval after that report, and may then be reported together.
  Run(9000);
  setMeter(900, 1001, 16000);
  settings->Set("BopCtDetectionTreshold", 99);
  EXPECT_EQ(Told(Milliseconds{16000}), "");
  EXPECT_EQ(Told(Milliseconds{10000}),
            "Warning for implausible CT at phase 2 cleared; Found implausible CT at phase 3; 30201 false; "
            "30202 true");
  mMeterData = {};
  EXPECT_EQ(Told(Milliseconds{60000}), "good") << "a silent meter judges no phase: what was reported stays";

  // Switched off, while the chip is away too, nothing stays behind.
  mMeterData.milliAmpere[2] = 16000;
  for (const bool isAway : {false, true}) {
    settings->Set("BopCtDetectionEnable", true);
    Run(65000);
    mChip.canBeInitialized = mChip.isRunning = !isAway;
    EXPECT_THAT(Told(Milliseconds{5000}), StartsWith("in error"));
    settings->Set("BopCtDetectionEnable", false);
    mChip.canBeInitialized = true;
    EXPECT_THAT(Told(Milliseconds{35000}), MatchesRegex("good.*; 30200 false; 30201 false; 30202 false"));
  }
}

TEST_F(CCtTest, ManyThreadsMeasureWhileItStartsAndStops) {
  CLogCapture quiet(ELevel::Critical);
  CRealScheduler scheduler;
  const Milliseconds often{1};
  const auto ct = MakeCt(scheduler, "C-CT-16", {often, 24 * often, often, often, often, 24 * often, often});
  std::atomic<bool> isDone{false};
  std::atomic<int> errors{0}, readings{0};
  ct->RegisterErrorHandler([&errors](bool) { ++errors; });
  const auto measure = [&] {
    while (!isDone) {
      const auto value = ct->GetMeasurements(Current);
      EXPECT_TRUE(value == ThreePhaseValue({2875, 0, 5750}) || value == ThreePhaseValue({0, 0, 0}));
      if (value[0] != 0) ++readings;
      EXPECT_LE(ct->GetMeasurementAverage(Current, often * 5)[0], 2875);
      ct->HasMeasurement(Current);
    }
  };
  std::thread one(measure), two(measure);
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
  one.join(), two.join();
  EXPECT_GT(errors, 0);
}

}  // namespace
