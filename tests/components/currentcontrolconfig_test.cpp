#include "src/components/currentcontrolconfig.h"

#include <optional>
#include <thread>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/utility/jsontext.h"
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
std::string ToText(const Json::Value& value) {
  return JsonText::ToLine(value);
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
  const struct {
    const char* key;
    std::string (*get)(C&);
    std::string absent;
    Json::Value value;
    std::string whenSet;
  } kCases[] = {
      {"HwMaxCurrent", Get<&C::GetConfigHardwareLimit>, "0", 7, "7"},
      {"HwHasSocket", Get<&C::IsFixedCable>, "false", false, "true"},
      {"HwHasMeter", Get<&C::HasMeter>, "false", true, "true"},
      {"HwCtType", Get<&C::GetCtType>, "VAC4624", "other", "other"},
      {"HwOneOrThreePhase", Get<&C::GetNumberOfPhases>, "1", 3, "3"},
      {"HwHasRs485", Get<&C::HasRs485>, "false", true, "true"},
      {"HwHasBop", Get<&C::HasCtConnector>, "false", true, "true"},
      {"HwHasDigitalInputs", Get<&C::HasDigitalInputs>, "false", true, "true"},
      {"CurrentCtrlFixedChargeCurrentLimit", Get<&C::GetConfigInstallationLimit>, "0", 7, "7"},
      {"CurrentCtrlBopEnable", Get<&C::GetBopEnable>, "false", true, "true"},
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
      {"UserDefinedHouseholdPowerLimitEnable", Get<&C::IsUserDefinedHouseholdPowerLimitEnabled>, "false",
       true, "true"},
      {"UserDefinedHouseholdPowerLimitAllowed", Get<&C::IsUserDefinedHouseholdPowerLimitAllowed>, "false",
       true, "true"},
      {"UserDefinedHouseholdPowerLimit", Get<&C::GetUserDefinedHouseholdPowerLimit>, "20000", 7, "7"},
      {"GroupLoadBalancingEnable", Get<&C::GetGroupLoadBalancingEnable>, "false", true, "true"},
      {"VDEPhaseImbalanceEnable", Get<&C::PhaseImbalanceEnabled>, "false", true, "true"},
      {"VDEPhaseImbalanceLimit", Get<&C::GetPhaseImbalanceLimitCurrent>, "20", 7, "7"},
      {"ConnectedPhases", Get<&C::GetConnectedPhases>, "0", 7, "7"},
      {"CurrentCtrlOverUnderVoltageDetectionEnable", Get<&C::IsOverUnderVoltageDetectionEnabled>, "false",
       true, "true"},
      {"CurrentCtrlOverVoltageLimit", Get<&C::GetOverVoltageLimit>, "253", 7, "7"},
      {"CurrentCtrlUnderVoltageLimit", Get<&C::GetUnderVoltageLimit>, "207", 7, "7"},
      {"LocalSmartChargingAllowed", Get<&C::GetLocalSmartChargingAllowed>, "false", true, "true"},
      {"SolarChargingAllowed", Get<&C::GetSolarChargingAllowed>, "false", true, "true"},
      {"SolarChargingEnable", Get<&C::GetSolarChargingEnable>, "false", true, "true"},
      {"SolarChargingPhaseSwitchingMode", Get<&C::GetSolarPhaseSwitchingMode>, "Automatic", "other", "other"},
      {"SolarChargingMode", Get<&C::GetSolarStrategy>, optimized, "OptimizedSolar", optimized},
      {"SolarChargingMode", Get<&C::GetSolarStrategy>, optimized, "PureSolar",
       "1300 W, 0 mA, x1, 60 s, 900 s, 1 phases"},
      {"SolarChargingMode", Get<&C::GetSolarStrategy>, optimized, "MaxSolar",
       "500 W, 100000 mA, x1, 60 s, 1800 s, 3 phases"},
      {"UserDefinedChargeLimitCurrentAllowed", Get<&C::IsUserDefinedChargeLimitCurrentAllowed>, "false", true,
       "true"},
      {"UserDefinedChargeLimitCurrent", Get<&C::GetUserDefinedChargeLimitCurrent>, "32", 7, "7"},
      {"PowerLimitInputEnable", Get<&C::GetPowerLimitInputEnable>, "false", true, "true"},
      {"PowerLimitInputDi1Inverse", Get<&C::GetPowerLimitInputDi1Inverse>, "false", true, "true"},
      {"PowerLimitInputDi2Inverse", Get<&C::GetPowerLimitInputDi2Inverse>, "false", true, "true"},
      {"PowerLimitInputDi1Limit", Get<&C::GetPowerLimitInputDi1LimitMilliAmpere>, "6000", 7, "7000"},
      {"PowerLimitInputDi2Limit", Get<&C::GetPowerLimitInputDi2LimitMilliAmpere>, "0", 7, "7000"},
      {"SolarChargingSource", Get<&C::GetSolarChargingSource>, "", "other", "other"},
      {"SolarChargingSourceParameters", Get<&C::GetSolarChargingSourceParameters>, "{}", "{ \"a\": 1 }",
       "{\"a\":1}"},
      {"UserDefinedHouseholdPowerLimitSource", Get<&C::GetUserDefinedHouseholdPowerLimitSource>, "", "other",
       "other"},
      {"UserDefinedHouseholdPowerLimitSourceParameters",
       Get<&C::GetUserDefinedHouseholdPowerLimitSourceParameters>, "{}", "{ \"a\": 1 }", "{\"a\":1}"},
  };
  auto& config = Create();
  for (const auto& [key, get, absent, value, whenSet] : kCases) {
    EXPECT_EQ(get(config), absent) << key;
    StoreOf(key).Set(key, value);
    EXPECT_EQ(get(config), whenSet) << key;
    StoreOf(key).Set(key, {});
  }
}

TEST_F(CConfigTest, MissingLimitsAreWarnedOf) {
  const auto& config = Create();
  CLogCapture log;
  config.GetConfigHardwareLimit();
  config.GetConfigInstallationLimit();
  EXPECT_THAT(log.Texts(ELevel::Warning),
              ElementsAre("HwMaxCurrent is set to 0 in hwinfo.json",
                          "CurrentCtrlFixedChargeCurrentLimit is set to 0 in settings.json"));
  EXPECT_EQ(log.Texts(ELevel::Trace).front(), "CCurrentControlConfig::GetConfigHardwareLimit");
}

TEST_F(CConfigTest, HardwarePhasesDecideCalibrationAndDefaults) {
  const auto& config = Create();
  EXPECT_THAT(config.GetBopCalIGains(), ElementsAre(0));
  for (const auto& [key, value] : {std::pair{"BopCalIGainA", -1},
                                   {"BopCalIGainB", 2},
                                   {"BopCalIGainC", 3},
                                   {"BopCalIRmsOffsetA", 4},
                                   {"BopCalIRmsOffsetB", 5},
                                   {"BopCalIRmsOffsetC", -6}}) {
    mHwinfo->Set(key, value);
  }
  CLogCapture log;
  for (const int phases : {1, 0, 2, 255}) {
    mHwinfo->Set("HwOneOrThreePhase", phases);
    EXPECT_TRUE(config.IsSinglePhaseSupported());
    EXPECT_FALSE(config.IsThreePhaseSupported());
    EXPECT_EQ(config.GetDefaultPhaseCount(), 1);
    EXPECT_THAT(config.GetBopCalIGains(), ElementsAre(-1));
    EXPECT_THAT(config.GetBopCalIRmsOffsets(), ElementsAre(4));
  }
  mHwinfo->Set("HwOneOrThreePhase", 3);
  EXPECT_TRUE(config.IsSinglePhaseSupported());
  EXPECT_TRUE(config.IsThreePhaseSupported());
  EXPECT_EQ(config.GetDefaultPhaseCount(), 3);
  EXPECT_THAT(config.GetBopCalIGains(), ElementsAre(-1, 2, 3));
  EXPECT_THAT(config.GetBopCalIRmsOffsets(), ElementsAre(4, 5, -6));
  EXPECT_THAT(
      log.Texts(ELevel::Warning),
      ElementsAre("HwOneOrThreePhase is set to 0 in hwinfo.json, neither 1 nor 3: charging on one phase"));
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
  EXPECT_EQ(ToText(strategy), "1300 W, 0 mA, x1, 60 s, 900 s, 1 phases");
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
  const auto isValid = [&](const char* type, const Json::Value& params) {
    return config.IsValidPowerSource(type, params);
  };
  Json::Value params;
  EXPECT_FALSE(isValid("modbustcp", params));
  params["Type"] = "CG_EM24_E1";
  EXPECT_TRUE(isValid("modbustcp", params));
  for (const Json::Value& model : {Json::Value("abb_b23"), Json::Value("nothing"), Json::Value(5), params}) {
    Json::Value other;
    other["type"] = model;
    EXPECT_FALSE(isValid("modbustcp", other)) << ToText(model);
  }
  for (const Json::Value& noObject : {Json::Value("type"), Json::Value(5), Json::Value(Json::arrayValue)}) {
    EXPECT_FALSE(isValid("modbustcp", noObject)) << ToText(noObject);
    EXPECT_TRUE(isValid("modbusrtu", noObject)) << ToText(noObject);
  }
  EXPECT_FALSE(isValid("ct", {}));
  EXPECT_FALSE(isValid("HomeWizard", {}));
}

TEST_F(CConfigTest, HostileParameterTextIsOneErrorLineAndAnEmptyObject) {
  mSettings->Set("SolarChargingSource", "homewizard");
  mSettings->Set("BopSource", "homewizard");
  auto& config = Create();
  const std::string deep(100000, '[');
  for (const std::string& text :
       {std::string("{"), std::string("[1, 2]"), std::string("null"), std::string("{} {}"),
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

TEST_F(CConfigTest, SettersWriteOneLineOfJsonAndSaySo) {
  auto& config = Create();
  Json::Value params;
  params["type"] = "cg_em24_e1";
  params["port"] = 502;
  CLogCapture log;
  config.SetSolarChargingSourceParameters(params);
  config.SetUserDefinedHouseholdPowerLimitSourceParameters(Json::objectValue);
  EXPECT_EQ(Text("SolarChargingSourceParameters"), R"({"port":502,"type":"cg_em24_e1"})");
  EXPECT_EQ(Text("UserDefinedHouseholdPowerLimitSourceParameters"), "{}");
  EXPECT_THAT(log.Texts(ELevel::Debug),
              ElementsAre("CCurrentControlConfig::SetSolarChargingSourceParameters",
                          R"(SolarChargingSourceParameters is set to :{"port":502,"type":"cg_em24_e1"})",
                          "CCurrentControlConfig::SetUserDefinedHouseholdPowerLimitSourceParameters",
                          "UserDefinedHouseholdPowerLimitSourceParameters is set to :{}"));
}

}  // namespace
