#include "src/components/currentcontrolconfig.h"

#include <map>
#include <optional>
#include <thread>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "src/components/meterfeatures.h"
#include "support/memoryconfig.h"

namespace {

using ELevel = Log::ELogLevel;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class CConfigTest : public ::testing::Test {
 protected:
  /// The accessor over what the stores hold by now.
  CCurrentControlConfig& Create() { return mConfig.emplace(mSettings, mHwinfo); }

  CMemoryConfig& StoreOf(std::string_view key) { return key.starts_with("Hw") ? *mHwinfo : *mSettings; }
  std::string Text(std::string_view key) const { return mSettings->Get(key).asString(); }

  std::shared_ptr<CMemoryConfig> mSettings = std::make_shared<CMemoryConfig>();
  std::shared_ptr<CMemoryConfig> mHwinfo = std::make_shared<CMemoryConfig>();
  std::optional<CCurrentControlConfig> mConfig;
};

using C = CCurrentControlConfig;

template <class TValue>
std::string ToText(const TValue& value) {
  return fmt::format("{}", value);
}
std::string ToText(const SSolarStrategy& value) {
  return fmt::format("{} W, {} mA, x{}, {} s, {} s, {} phases", value.PowerThreshold, value.CurrentOffset,
                     value.CurrentGain, value.ContinuousStartThreshold, value.ContinuousStopThreshold,
                     value.Phases);
}
template <auto kGetter>
std::string Get(C& config) {
  return ToText((config.*kGetter)());
}

TEST_F(CConfigTest, GettersFollowTheirKeysDefaultsAndUnits) {
  const std::string optimized = "500 W, 4000 mA, x1, 60 s, 1800 s, 1 phases";
  const std::string pure = "1300 W, 0 mA, x1, 60 s, 900 s, 1 phases";
  const std::string max = "500 W, 100000 mA, x1, 60 s, 1800 s, 3 phases";
  const struct {
    const char* key;
    std::string (*get)(C&);
    std::string absent = "false";
    Json::Value value = true;
    std::string whenSet = "true";
  } kCases[] = {
      {"HwHasMeter", Get<&C::HasMeter>},
      {"HwHasRs485", Get<&C::HasRs485>},
      {"HwRs485AutoDirection", Get<&C::HasRs485AutoDirection>},
      {"HwHasBop", Get<&C::HasCtConnector>},
      {"HwHasDigitalInputs", Get<&C::HasDigitalInputs>},
      {"CurrentCtrlBopEnable", Get<&C::GetBopEnable>},
      {"UserDefinedHouseholdPowerLimitEnable", Get<&C::IsUserDefinedHouseholdPowerLimitEnabled>},
      {"UserDefinedHouseholdPowerLimitAllowed", Get<&C::IsUserDefinedHouseholdPowerLimitAllowed>},
      {"GroupLoadBalancingEnable", Get<&C::GetGroupLoadBalancingEnable>},
      {"VDEPhaseImbalanceEnable", Get<&C::PhaseImbalanceEnabled>},
      {"CurrentCtrlOverUnderVoltageDetectionEnable", Get<&C::IsOverUnderVoltageDetectionEnabled>},
      {"LocalSmartChargingAllowed", Get<&C::GetLocalSmartChargingAllowed>},
      {"SolarChargingAllowed", Get<&C::GetSolarChargingAllowed>},
      {"SolarChargingEnable", Get<&C::GetSolarChargingEnable>},
      {"UserDefinedChargeLimitCurrentAllowed", Get<&C::IsUserDefinedChargeLimitCurrentAllowed>},
      {"PowerLimitInputEnable", Get<&C::GetPowerLimitInputEnable>},
      {"PowerLimitInputDi1Inverse", Get<&C::GetPowerLimitInputDi1Inverse>},
      {"PowerLimitInputDi2Inverse", Get<&C::GetPowerLimitInputDi2Inverse>},
      {"HwMaxCurrent", Get<&C::GetConfigHardwareLimit>, "0", 7, "7"},
      {"HwHasSocket", Get<&C::IsFixedCable>, "false", false, "true"},
      {"HwCtType", Get<&C::GetCtType>, "VAC4624", "other", "other"},
      {"HwOneOrThreePhase", Get<&C::GetNumberOfPhases>, "1", 3, "3"},
      {"CurrentCtrlFixedChargeCurrentLimit", Get<&C::GetConfigInstallationLimit>, "0", 7, "7"},
      {"CurrentCtrlBopFuseRating", Get<&C::GetFuseLimit>, "0", 25, "25"},
      {"CurrentCtrlBopFuseRating", Get<&C::GetBopFuseRating>, "0", 25, "25000"},
      {"CurrentCtrlBopFuseRating", Get<&C::GetBopFuseRating>, "0", 4294968U, "4294967295"},
      {"BopSource", Get<&C::GetBopSource>, "ct", "other", "other"},
      {"CurrentCtrlBopCtType", Get<&C::GetBopCtType>, "None", "other", "other"},
      {"BopCtDetectionEnable", Get<&C::IsBopCtDetectionEnabled>, "true", false, "false"},
      {"BopCtDetectionTreshold", Get<&C::GetBopCtDetectionTreshold>, "100", 7, "7"},
      {"BopFallbackCurrent", Get<&C::GetBopFallbackCurrent>, "6000", 7, "7"},
      {"BopCtDetectionReportInterval", Get<&C::GetBopCtDetectionReportInterval>, "30", 7, "7"},
      {"BopHomeWizardAddress", Get<&C::GetHomeWizardAddress>, "", "10.0.0.7", "10.0.0.7"},
      {"BopHomeWizardAddressPort", Get<&C::GetHomeWizardAddressPort>, "80", 65617, "81"},
      {"UserDefinedHouseholdPowerLimit", Get<&C::GetUserDefinedHouseholdPowerLimit>, "20000", 7, "7"},
      {"VDEPhaseImbalanceLimit", Get<&C::GetPhaseImbalanceLimitCurrent>, "20", 7, "7"},
      {"ConnectedPhases", Get<&C::GetConnectedPhases>, "0", 7, "7"},
      {"CurrentCtrlOverVoltageLimit", Get<&C::GetOverVoltageLimit>, "253", 7, "7"},
      {"CurrentCtrlUnderVoltageLimit", Get<&C::GetUnderVoltageLimit>, "207", 7, "7"},
      {"SolarChargingPhaseSwitchingMode", Get<&C::GetSolarPhaseSwitchingMode>, "Automatic", "other", "other"},
      {"SolarChargingMode", Get<&C::GetSolarStrategy>, optimized, "OptimizedSolar", optimized},
      {"SolarChargingMode", Get<&C::GetSolarStrategy>, optimized, "PureSolar", pure},
      {"SolarChargingMode", Get<&C::GetSolarStrategy>, optimized, "MaxSolar", max},
      {"SolarChargingMode", Get<&C::GetSolarStrategy>, optimized, "AdvancedSolar", pure},
      {"UserDefinedChargeLimitCurrent", Get<&C::GetUserDefinedChargeLimitCurrent>, "32", 7, "7"},
      {"PowerLimitInputDi1Limit", Get<&C::GetPowerLimitInputDi1LimitMilliAmpere>, "6000", 7, "7000"},
      {"PowerLimitInputDi2Limit", Get<&C::GetPowerLimitInputDi2LimitMilliAmpere>, "0", 7, "7000"},
  };
  auto& config = Create();
  for (const auto& [key, get, absent, value, whenSet] : kCases) {
    EXPECT_EQ(get(config), absent) << key;
    StoreOf(key).Set(key, value);
    EXPECT_EQ(get(config), whenSet) << key;
    StoreOf(key).Set(key, {});
  }
}

TEST_F(CConfigTest, HardwarePhasesDecideCalibrationAndDefaults) {
  const auto& config = Create();
  using Values = std::vector<std::int32_t>;
  const std::map<std::string, int> calibration{{"BopCalIGainA", -1},     {"BopCalIGainB", 2},
                                               {"BopCalIGainC", 3},      {"BopCalIRmsOffsetA", 4},
                                               {"BopCalIRmsOffsetB", 5}, {"BopCalIRmsOffsetC", -6}};
  for (const auto& [key, value] : calibration) mHwinfo->Set(key, value);
  CLogCapture log;
  for (const int phases : {1, 0, 2, 255, 3}) {
    const bool three = phases == 3;
    mHwinfo->Set("HwOneOrThreePhase", phases);
    EXPECT_EQ(config.IsThreePhaseSupported(), three);
    EXPECT_EQ(config.GetDefaultPhaseCount(), three ? 3 : 1);
    EXPECT_EQ(config.GetBopCalIGains(), three ? Values({-1, 2, 3}) : Values({-1}));
    EXPECT_EQ(config.GetBopCalIRmsOffsets(), three ? Values({4, 5, -6}) : Values({4}));
  }
  EXPECT_THAT(
      log.Texts(ELevel::Warning),
      ElementsAre("HwOneOrThreePhase is set to 0 in hwinfo.json, neither 1 nor 3: charging on one phase"));
}

TEST_F(CConfigTest, BoardAndWiringDecideOnWhichPhasesMayBeCharged) {
  const struct {
    int phases;
    Json::Value switching, connected;
    bool one, several;
  } kCases[] = {{1, {}, 7, true, false},  {1, false, {}, true, false}, {3, {}, {}, true, true},
                {3, true, 7, true, true}, {3, false, 3, false, true},  {3, {}, 1, true, false},
                {3, {}, 4, true, false},  {3, false, 2, false, false}, {3, {}, 8, true, true}};
  const auto& config = Create();
  CLogCapture log;
  for (const auto& [phases, switching, connected, one, several] : kCases) {
    mHwinfo->Set("HwOneOrThreePhase", phases);
    mHwinfo->Set("HwHasPhaseSwitching", switching);
    mSettings->Set("ConnectedPhases", connected);
    EXPECT_EQ(config.IsSinglePhaseSupported(), one) << connected.asInt() << " of " << phases;
    EXPECT_EQ(config.IsMultiPhaseAllowed(), several) << connected.asInt() << " of " << phases;
    config.IsMultiPhaseAllowed();
  }
  EXPECT_THAT(
      log.Texts(ELevel::Warning),
      ElementsAre(
          "ConnectedPhases is set to 8 in settings.json, no mask of three phases: taken as not said"));
}

TEST_F(CConfigTest, UnknownSolarModeIsWarnedOfOnce) {
  const auto& config = Create();
  CLogCapture log;
  mSettings->Set("SolarChargingMode", "puresolar\n" + std::string(500'000, '\n'));
  for (int call = 0; call < 2; ++call) EXPECT_EQ(config.GetSolarStrategy().CurrentOffset, 4000);
  EXPECT_THAT(
      log.Texts(ELevel::Warning),
      ElementsAre("Unknown solar charging mode 'puresolar' in config, defaulting to 'OptimizedSolar'"));
}

TEST_F(CConfigTest, AdvancedSolarStrategyComesFromTheSettingsOfTheMoment) {
  const auto& config = Create();
  mSettings->Set("SolarChargingMode", "AdvancedSolar");
  const auto& strategy = config.GetSolarStrategy();
  mSettings->Set("SolarChargingAdvancedPowerThreshold", -200);
  mSettings->Set("SolarChargingAdvancedCurrentOffset", 300);
  mSettings->Set("SolarChargingAdvancedCurrentGain", 0.5);
  mSettings->Set("SolarChargingAdvancedContinuousStartThreshold", 61);
  mSettings->Set("SolarChargingAdvancedContinuousStopThreshold", 901);
  mSettings->Set("SolarChargingAdvancedPhases", 3);
  std::thread other([&] { EXPECT_EQ(config.GetSolarStrategy().Phases, 3); });
  other.join();
  EXPECT_EQ(strategy.Phases, 1);  // what one thread reads is not overwritten by another
  EXPECT_EQ(ToText(config.GetSolarStrategy()), "-200 W, 300 mA, x0.5, 61 s, 901 s, 3 phases");
  mSettings->Set("SolarChargingAdvancedPhases", 2);
  EXPECT_EQ(config.GetSolarStrategy().Phases, 1);
}

TEST_F(CConfigTest, CurrentTransformersHaveTheirOwnParametersAndNeverMigrate) {
  mSettings->Set("BopSource", "CT");
  mSettings->Set("BopSourceParameters", "broken {");
  auto& config = Create();
  CLogCapture log;
  EXPECT_EQ(config.GetBopSourceParameters()["type"], "None");
  EXPECT_EQ(config.GetSolarChargingSource(), "");
  EXPECT_EQ(config.GetUserDefinedHouseholdPowerLimitSource(), "");
  EXPECT_THAT(mSettings->Writes(), IsEmpty());
  EXPECT_THAT(log.Texts(ELevel::Error), IsEmpty());
}

TEST_F(CConfigTest, OldMeterAddressMovesToTheParametersOnce) {
  mSettings->Set("BopSource", "homewizard");
  mSettings->Set("BopHomeWizardAddress", "10.0.0.7");
  Create();
  EXPECT_EQ(Text("BopSourceParameters"), R"({"address":"10.0.0.7"})");
  EXPECT_THAT(mSettings->Writes(), ElementsAre("BopSourceParameters", "BopHomeWizardAddress"));
  mSettings->Set("BopHomeWizardAddress", "10.0.0.8");
  Create();
  EXPECT_EQ(Text("BopSourceParameters"), R"({"address":"10.0.0.7"})");
  EXPECT_EQ(Text("BopHomeWizardAddress"), "10.0.0.8");
  mSettings->Set("BopSourceParameters", R"({"port": 80, "address": )");
  Create();
  EXPECT_EQ(Text("BopSourceParameters"), R"({"port": 80, "address": )");
  EXPECT_EQ(Text("BopHomeWizardAddress"), "10.0.0.8");
}

TEST_F(CConfigTest, MeterOfBlackoutProtectionBecomesThatOfSolarChargingAndHousehold) {
  mSettings->Set("BopSource", "homewizard");
  mSettings->Set("BopSourceParameters", R"({"address": "10.0.0.7"})");
  auto& config = Create();
  // Found by the call that asks, in force from the next.
  EXPECT_EQ(config.GetUserDefinedHouseholdPowerLimitSourceParameters()["address"], "");
  EXPECT_EQ(config.GetUserDefinedHouseholdPowerLimitSourceParameters()["address"], "10.0.0.7");
  EXPECT_EQ(config.GetUserDefinedHouseholdPowerLimitSource(), "homewizard");
  EXPECT_THAT(mSettings->Writes(), ElementsAre("SolarChargingSource", "SolarChargingSourceParameters",
                                               "UserDefinedHouseholdPowerLimitSource",
                                               "UserDefinedHouseholdPowerLimitSourceParameters",
                                               "UserDefinedHouseholdPowerLimitEnable"));
  EXPECT_EQ(mSettings->Get("UserDefinedHouseholdPowerLimitEnable"), true);
}

TEST_F(CConfigTest, HouseholdFallsBackToBlackoutProtectionWhenTheSolarMeterIsNoUse) {
  mSettings->Set("SolarChargingSource", "carrier pigeon");
  mSettings->Set("BopSource", "p1extender");
  auto& config = Create();
  EXPECT_EQ(config.GetUserDefinedHouseholdPowerLimitSource(), "p1extender");
  EXPECT_EQ(Text("UserDefinedHouseholdPowerLimitSourceParameters"), "{}");
  EXPECT_EQ(Text("SolarChargingSource"), "carrier pigeon");
}

TEST_F(CConfigTest, ModbusTcpNeedsAModelThatHasTcp) {
  const auto& config = Create();
  Json::Value params;
  EXPECT_FALSE(config.IsValidPowerSource("modbustcp", params));
  params["Type"] = "CG_EM24_E1";
  EXPECT_TRUE(config.IsValidPowerSource("modbustcp", params));
  for (const Json::Value& model : {Json::Value("abb_b23"), Json::Value("nothing"), Json::Value(5), params}) {
    Json::Value other;
    other["type"] = model;
    EXPECT_FALSE(config.IsValidPowerSource("modbustcp", other));
  }
  EXPECT_FALSE(config.IsValidPowerSource("modbustcp", Json::arrayValue)) << "no object";
  EXPECT_TRUE(config.IsValidPowerSource("modbusrtu", Json::arrayValue));
  EXPECT_FALSE(config.IsValidPowerSource("ct", {}));
  EXPECT_FALSE(config.IsValidPowerSource("HomeWizard", {}));
}

TEST_F(CConfigTest, AFoundHomeWizardIsStoredForWhomeverKnewItByItsFormerAddress) {
  mSettings->Set("BopSource", "homewizard");
  mSettings->Set("BopSourceParameters", R"({"address":"10.0.0.5","note":1})");
  mSettings->Set("SolarChargingSource", "homewizard");
  mSettings->Set("SolarChargingSourceParameters", R"({"address":"10.0.0.6"})");
  mSettings->Set("UserDefinedHouseholdPowerLimitSource", "homewizard");
  mSettings->Set("UserDefinedHouseholdPowerLimitSourceParameters", R"({"address":"10.0.0.5",)");
  Json::Value found;
  found["address"] = "10.0.0.7";
  found["serial"] = "5c2faf334455";
  StoreFoundHomeWizard(Create(), "10.0.0.5", found);
  EXPECT_EQ(Text("BopSourceParameters"), R"({"address":"10.0.0.7","note":1,"serial":"5c2faf334455"})");
  EXPECT_EQ(Text("SolarChargingSourceParameters"), R"({"address":"10.0.0.6"})");
  // Broken text may still be mended by hand.
  EXPECT_EQ(Text("UserDefinedHouseholdPowerLimitSourceParameters"), R"({"address":"10.0.0.5",)");
  // A feature that nobody has set up is not set up by that.
  mSettings->Set("SolarChargingSource", {});
  mSettings->Set("UserDefinedHouseholdPowerLimitSource", {});
  StoreFoundHomeWizard(*mConfig, "10.0.0.7", found);
  EXPECT_TRUE(mSettings->Get("SolarChargingSource").isNull());
  EXPECT_TRUE(mSettings->Get("UserDefinedHouseholdPowerLimitEnable").isNull());
}

TEST_F(CConfigTest, HostileParameterTextIsOneErrorLineAndAnEmptyObject) {
  mSettings->Set("SolarChargingSource", "homewizard");
  mSettings->Set("BopSource", "homewizard");
  auto& config = Create();
  const std::string deep(100000, '[');
  for (const std::string& text : {std::string("{"), std::string("[1, 2]"), std::string("null"),
                                  "{\"address\": 1e" + std::string(500'000, 'e') + "}", deep}) {
    mSettings->Set("SolarChargingSourceParameters", text);
    mSettings->Set("BopSourceParameters", text);
    CLogCapture log(ELevel::Info);
    EXPECT_EQ(config.GetSolarChargingSourceParameters(), Json::Value(Json::objectValue));
    EXPECT_EQ(config.GetBopSourceParameters(), Json::Value(Json::objectValue));
    ASSERT_THAT(log.Texts(ELevel::Error),
                ElementsAre(StartsWith("Failed to get SolarChargingSourceParameters: "),
                            StartsWith("Failed to get BopSourceParameters: ")));
    EXPECT_EQ(log.Lines()[0].text.find('\n'), std::string::npos);
    EXPECT_LT(log.Lines()[0].text.size(), 300U);
    EXPECT_EQ(Text("SolarChargingSourceParameters"), text);
  }
}

}  // namespace
