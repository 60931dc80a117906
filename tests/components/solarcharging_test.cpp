#include "src/components/solarcharging.h"

#include "components/componentstation.h"
#include "support/scriptedsource.h"

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
constexpr std::int32_t kMax = 2147483647, kMin = -kMax - 1;
constexpr auto kHolds = "Solar charging holds the vehicle until 1300 W are left over for 60 s";

class CSolarChargingTest : public ::testing::Test, protected SComponentStation {
 protected:
  CSolarChargingTest() {
    hwinfo->Set("HwOneOrThreePhase", 3);
    Set("Enable", true)();
    Set("Mode", "PureSolar")();
  }
  void Start(std::shared_ptr<IMeasurementSource> source) {
    using namespace DiagnosticsSignals;
    const auto changed = [this](const SLimit& limit) {
      EXPECT_EQ(limit.source, ipc::ECurrentControlSolarCharging);
      told.push_back(mLimit = fmt::format("{}/{}", limit.milliAmpere, limit.phases));
    };
    mSolar = std::make_shared<CSolarCharging>(
        time, std::move(source), config,
        CSolarCharging::SSignals{diagnostics.Signal(kSolarHouseholdPower),
                                 diagnostics.Signal(kSolarSourceUnusable),
                                 diagnostics.Signal(kSolarNotSupported)},
        CSolarCharging::SCallbacks{[this] { return mStation; }, changed,
                                   [this] { told.push_back(mLimit = "none"); },
                                   [this] { return mLimit != "none"; }});
    mSolar->Init();
    mSolar->Enable();
  }
  struct SStep {
    std::function<void()> before;
    int runs;
    std::int32_t surplus;  ///< W, while the vehicle draws what it draws
    std::string limit;     ///< that stands then, in mA and phases
  };
  void Play(const std::vector<SStep>& steps) {
    for (const auto& step : steps) {
      if (step.before) step.before();
      mSource->mWatt[0] = mVehicleWatt - step.surplus;
      time.RunFor(step.runs * CSolarCharging::kPeriod);
      EXPECT_EQ(mLimit, step.limit) << "step " << &step - steps.data();
    }
  }
  void Charge() {
    Start(mSource);
    Play({{{}, 4, 1400, "6086/1"}});
    Draw({6000, 0, 0}, 1380)();
    Told();
  }
  std::function<void()> Draw(std::array<std::int32_t, 3> milliAmpere, std::int32_t watt) {
    return [=, this] { mStation = SStationMeterData{milliAmpere, {}}, mVehicleWatt = watt; };
  }
  std::function<void()> Set(const std::string& key, const Json::Value& value) {
    return [=, this] { settings->Set("SolarCharging" + key, value); };
  }
  std::function<void()> Error(bool error) {
    return [=, this] { mSource->mHandler(error), time.RunDue(); };
  }
  std::shared_ptr<CScriptedSource> mSource = std::make_shared<CScriptedSource>();
  std::optional<SStationMeterData> mStation = SStationMeterData{};
  std::int32_t mVehicleWatt = 0;
  std::string mLimit = "none";
  std::shared_ptr<CSolarCharging> mSolar;
};

TEST_F(CSolarChargingTest, SurplusMustLastToStartAndStayAwayToStop) {
  Start(mSource);
  Play({{{}, 3, 1300, "0/1"},
        {{}, 1, 1299, "0/1"},
        {{}, 3, 1400, "0/1"},
        {{}, 1, 1400, "6086/1"},                        // 60 s
        {Draw({6000, 0, 0}, 1380), 1, 1422, "6086/1"},  // 96 mA more
        {{}, 1, 1423, "6186/1"},                        // 100 mA more
        {{}, 45, 1299, "6000/1"},                       // nearly too long
        {{}, 1, 1300, "6000/1"},
        {{}, 45, -2000, "6000/1"},
        {{}, 1, -2000, "0/1"}});  // 900 s
  EXPECT_EQ(log.Count("Stop limit exceeded, setting desired current to 0A"), 1);
  EXPECT_THAT(told, ElementsAre("0/1", "6086/1", "6186/1", "6000/1", "0/1"));
  EXPECT_THAT(diagnostics.Take()[30600],
              ElementsAre("-1300", "-42", "81", "81", "81", "3380", "3380", "3380", "3380"));
}

TEST_F(CSolarChargingTest, PhasesFollowTheSmoothedSurplus) {
  Set("Mode", "AdvancedSolar")();
  Set("AdvancedCurrentOffset", 3000)();
  Start(mSource);
  Play({{{}, 3, 3910, "0/1"},
        {{}, 1, 3911, "6668/3"},
        {Draw({6000, 6000, 6000}, 4140), 33, 1500, "6000/3"},
        {{}, 1, 1500, "9521/1"},  // smoothed, below 3450 W
        {Draw({6000, 0, 0}, 1380), 15, 9000, "42130/1"},
        {{}, 1, 9000, "14043/3"},  // above 3910 W
        {{}, 1, 9000, "42130/3"},  // the vehicle stays on one phase
        {Set("PhaseSwitchingMode", "ForceSinglePhase"), 60, 9000, "42130/1"},
        {Set("PhaseSwitchingMode", "Automatic"), 1, 9000, "14043/3"},
        {Draw({6000, 6000, 6000}, 4140), 90, 1500, "6000/1"}});
}

TEST_F(CSolarChargingTest, APauseLongerThanTheFilterNeitherUpsetsItNorIsMissed) {
  Charge();
  Set("Mode", "AdvancedSolar")();
  Set("AdvancedContinuousStopThreshold", 100'000)();
  for (int run = 0; run < 256; ++run) Play({{{}, 1, (run + 1) % 2 * -9000, "6086/1"}});
  Play({{{}, 1, 0, "6086/1"}});
  EXPECT_THAT(Told(), HasSubstr("Skipping update because power measurement is equal to the power measurement "
                                "before the previous update."));
  Play({{{}, 1, 1840, "8000/1"}, {{}, 40, 10000, "43478/3"}});
}

TEST_F(CSolarChargingTest, SettingsHoldFromTheNextRunHoweverAbsurd) {
  Charge();
  const auto gain = [this](const Json::Value& value) { return Set("AdvancedCurrentGain", value); };
  Play({{Set("Mode", "MaxSolar"), 1, 1400, "106086/3"},
        {Set("Mode", "optimizedSolar"), 1, 6900, "34000/3"},  // wrong case: the default, 4 A from the grid
        {Set("PhaseSwitchingMode", "ForceSinglePhase"), 1, 6000, "30086/1"},
        {Set("Mode", "AdvancedSolar"), 1, 2300, "10000/1"},
        {Set("AdvancedCurrentOffset", Json::Int64{5'000'000'000}), 1, 2530, "11000/1"},
        {gain(0), 1, 2530, "6000/1"},
        {gain(std::nan("")), 1, 2530, "6000/1"},
        {gain(std::numeric_limits<double>::infinity()), 1, 2530, "6000/1"},
        {gain(0.5), 1, 4600, "10000/1"},
        {Set("AdvancedPowerThreshold", -500), 1, -500, "6000/1"},
        {Set("AdvancedContinuousStopThreshold", -9), 2, -501, "0/1"},
        {Set("Enable", false), 1, 2300, "none"}});
  EXPECT_THAT(diagnostics.Take()[30602], ElementsAre("false"));
  EXPECT_EQ(log.Count("Forcing 1 phase"), 1);
  EXPECT_EQ(
      log.Count("SolarChargingAdvancedCurrentGain is set to 0 in settings.json, no sensible factor: solar "
                "charging goes no higher than 6000 mA"),
      1);
  mSolar->Disable();
  EXPECT_EQ(mLimit, "none");
}

TEST_F(CSolarChargingTest, AVehicleIsLetGoWhenTheHouseCannotBeMeasured) {
  Charge();
  Play({{Error(true), 100, 1400, "none"}, {Error(false), 2, 1400, "0/1"}});
  EXPECT_EQ(Told(),
            std::string("none; 0/1; Solar charging measurement source has become unusable, removing solar "
                        "limit; ") +
                kHolds + "; 30600 -20; 30601 true false");
  Play({{Error(true), 90, 1400, "0/1"}, {{}, 2, 1000, "none"}, {Error(false), 3, 1400, "0/1"}});
  Set("Enable", false)();
  Error(true)();
  Play({{Set("Enable", true), 91, 1000, "0/1"}, {{}, 2, 1000, "none"}});  // noticed in the first run
  EXPECT_EQ(
      log.Count("Solar charging measurement source has been unusable for 30 minutes, removing solar limit"),
      2);
}

TEST_F(CSolarChargingTest, PowerThatIsMissingThriceLetsTheVehicleGoUntilItIsBack) {
  Charge();
  const auto has = [this](bool power) { return [=, this] { mSource->mHasPower = power; }; };
  Play({{has(false), 2, 1400, "6086/1"}, {{}, 301, 1400, "none"}, {has(true), 1, 1400, "0/1"}});
  EXPECT_EQ(mSource->mDumps, 1);
  const std::string retrying = "Solar charging cannot obtain power measurements, retrying...; ";
  EXPECT_THAT(Told(),
              AllOf(HasSubstr("none; 0/1; " + retrying + retrying +
                              "Cannot find active power on smart meter, removing solar limit; " + kHolds),
                    EndsWith("30601 true false")));
}

TEST_F(CSolarChargingTest, WhatCannotChargeFromTheSunSaysSoOnce) {
  Start(nullptr);
  Play({{{}, 3, 5000, "none"}});
  hwinfo->Set("HwHasPhaseSwitching", false);
  Start(mSource);
  Play({{{}, 3, 5000, "none"}});
  EXPECT_EQ(Told(),
            "No measurement source, removing limit; Solar charging not supported, removing limit; "
            "30601 true; 30602 true");
}

TEST_F(CSolarChargingTest, ASilentStationMeterIsToldOnceAndCountsAsNoVehicle) {
  Charge();
  mStation.reset(), mVehicleWatt = 0, mSource->mHasVolt = false;
  Play({{{}, 2, 1610, "7000/1"}});
  mStation = SStationMeterData{{}, {200'999, 0, 0}};
  Play({{{}, 1, 1610, "8050/1"},
        {[this] { mSource->mHasVolt = true; }, 1, 2070, "9000/1"},
        {[this] { mSource->mVolt[0] = 0; }, 1, 2070, "10350/1"}});
  EXPECT_THAT(
      log.Texts(Log::ELogLevel::Warning),
      ElementsAre("The station's meter is silent: the vehicle's power is missing in the solar surplus"));
  EXPECT_EQ(log.Count("The station's meter is back: the vehicle's power counts in the solar surplus again"),
            1);
}

TEST(SolarSurplus, FollowsFromTheMetersWhateverTheySay) {
  const SSolarStrategy pure{.CurrentOffset = 0}, half{.CurrentOffset = 4000, .CurrentGain = 0.5F},
      max{.CurrentOffset = 100000, .Phases = 3};
  const struct {
    std::int64_t household;
    std::int32_t volt;
    std::array<std::int32_t, 3> milliAmpere;
    std::uint8_t desired, phases;
    const SSolarStrategy& strategy;
    std::array<std::int32_t, 4> result;  // watt, volt, measured phases, limit
  } kCases[] = {
      {-966, 230, {}, 1, 1, pure, {966, 230, 1, 6000}},  // 4200 mA
      {-2300, 170, {}, 1, 1, pure, {2300, 230, 1, 10000}},
      {-1800, 180, {}, 1, 1, pure, {1800, 180, 1, 10000}},
      {-1800, kMin, {1000, 999, 0}, 3, 3, pure, {2259, 230, 3, 6000}},
      {200, 231, {15999, 1001, 0}, 3, 3, pure, {3727, 231, 2, 8067}},
      {-9200, 230, {}, 1, 3, half, {9200, 230, 1, 7333}},
      {-9200, 230, {}, 0, 0, half, {9200, 230, 0, 22000}},
      {500, 230, {}, 3, 3, max, {-500, 230, 3, 97827}},
      {-3LL * kMax, 230, {kMax, kMax, kMax}, 3, 3, max, {kMax, 230, 3, kMax}},
      {-3LL * kMax, kMax, {kMax, kMax, kMax}, 3, 1, pure, {kMax, kMax, 3, 6000}},
      {-3LL * kMin, kMax, {kMin, kMin, kMin}, 3, 3, pure, {kMin, kMax, 3, 6000}},
  };
  for (const auto& c : kCases) {
    const auto surplus = SSolarSurplus::Of(c.household, c.volt, c.milliAmpere, c.desired);
    EXPECT_THAT(c.result, ElementsAre(surplus.watt, surplus.volt, surplus.measuredPhases,
                                      surplus.LimitFor(c.phases, c.strategy)));
  }
}

}  // namespace
