#include "src/components/currentcontrolconfig.h"

#include <optional>
#include <thread>

#include <gmock/gmock.h>
#include <json/writer.h>

#include "platform/log/logcapture.h"
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

TEST_F(CConfigTest, SwitchesFollowTheirKeysAndDefaults) {
  using C = CCurrentControlConfig;
  const struct {
    const char* key;
    bool (C::*get)() const;
    bool absent = false;
  } kCases[] = {
      {"HwHasMeter", &C::HasMeter},
      {"HwHasRs485", &C::HasRs485},
      {"HwHasBop", &C::HasCtConnector},
      {"HwHasDigitalInputs", &C::HasDigitalInputs},
      {"CurrentCtrlBopEnable", &C::GetBopEnable},
      {"BopCtDetectionEnable", &C::IsBopCtDetectionEnabled, true},
      {"UserDefinedHouseholdPowerLimitEnable", &C::IsUserDefinedHouseholdPowerLimitEnabled},
      {"UserDefinedHouseholdPowerLimitAllowed", &C::IsUserDefinedHouseholdPowerLimitAllowed},
      {"GroupLoadBalancingEnable", &C::GetGroupLoadBalancingEnable},
      {"VDEPhaseImbalanceEnable", &C::PhaseImbalanceEnabled},
      {"CurrentCtrlOverUnderVoltageDetectionEnable", &C::IsOverUnderVoltageDetectionEnabled},
      {"LocalSmartChargingAllowed", &C::GetLocalSmartChargingAllowed},
      {"SolarChargingAllowed", &C::GetSolarChargingAllowed},
      {"SolarChargingEnable", &C::GetSolarChargingEnable},
      {"UserDefinedChargeLimitCurrentAllowed", &C::IsUserDefinedChargeLimitCurrentAllowed},
      {"PowerLimitInputEnable", &C::GetPowerLimitInputEnable},
      {"PowerLimitInputDi1Inverse", &C::GetPowerLimitInputDi1Inverse},
      {"PowerLimitInputDi2Inverse", &C::GetPowerLimitInputDi2Inverse},
  };
  const auto& config = Create();
  for (const auto& [key, get, absent] : kCases) {
    EXPECT_EQ((config.*get)(), absent) << key;
    for (const bool value : {true, false}) {
      StoreOf(key).Set(key, value);
      EXPECT_EQ((config.*get)(), value) << key;
    }
  }
  EXPECT_FALSE(config.IsFixedCable());
  mHwinfo->Set("HwHasSocket", false);
  EXPECT_TRUE(config.IsFixedCable());
}

TEST_F(CConfigTest, NumbersFollowTheirKeysDefaultsAndUnits) {
  using C = CCurrentControlConfig;
  const struct {
    const char* key;
    std::uint32_t (C::*get)() const;
    std::uint32_t absent;
    std::uint32_t whenSeven = 7;
  } kCases[] = {
      {"HwMaxCurrent", &C::GetConfigHardwareLimit, 0},
      {"CurrentCtrlFixedChargeCurrentLimit", &C::GetConfigInstallationLimit, 0},
      {"ConnectedPhases", &C::GetConnectedPhases, 0},
      {"CurrentCtrlBopFuseRating", &C::GetFuseLimit, 0},
      {"CurrentCtrlBopFuseRating", &C::GetBopFuseRating, 0, 7000},
      {"BopCtDetectionTreshold", &C::GetBopCtDetectionTreshold, 100},
      {"BopFallbackCurrent", &C::GetBopFallbackCurrent, 6000},
      {"BopCtDetectionReportInterval", &C::GetBopCtDetectionReportInterval, 30},
      {"UserDefinedHouseholdPowerLimit", &C::GetUserDefinedHouseholdPowerLimit, 20000},
      {"VDEPhaseImbalanceLimit", &C::GetPhaseImbalanceLimitCurrent, 20},
      {"CurrentCtrlOverVoltageLimit", &C::GetOverVoltageLimit, 253},
      {"CurrentCtrlUnderVoltageLimit", &C::GetUnderVoltageLimit, 207},
      {"UserDefinedChargeLimitCurrent", &C::GetUserDefinedChargeLimitCurrent, 32},
      {"PowerLimitInputDi1Limit", &C::GetPowerLimitInputDi1LimitMilliAmpere, 6000, 7000},
      {"PowerLimitInputDi2Limit", &C::GetPowerLimitInputDi2LimitMilliAmpere, 0, 7000},
  };
  const auto& config = Create();
  for (const auto& [key, get, absent, whenSeven] : kCases) {
    EXPECT_EQ((config.*get)(), absent) << key;
    StoreOf(key).Set(key, 7);
    EXPECT_EQ((config.*get)(), whenSeven) << key;
    StoreOf(key).Set(key, {});
  }
  mSettings->Set("CurrentCtrlBopFuseRating", 4294968U);
  EXPECT_EQ(config.GetBopFuseRating(), 4294967295U);
  EXPECT_EQ(config.GetHomeWizardAddressPort(), 80);
  mSettings->Set("BopHomeWizardAddressPort", 65617);
  EXPECT_EQ(config.GetHomeWizardAddressPort(), 81);
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
  mHwinfo->Set("BopCalIGainA", -1);
  mHwinfo->Set("BopCalIGainC", 3);
  mHwinfo->Set("BopCalIRmsOffsetB", 5);
  for (const int phases : {0, 1, 2, 255}) {
    mHwinfo->Set("HwOneOrThreePhase", phases);
    EXPECT_TRUE(config.IsSinglePhaseSupported());
    EXPECT_FALSE(config.IsThreePhaseSupported());
    EXPECT_EQ(config.GetDefaultPhaseCount(), 1);
    EXPECT_THAT(config.GetBopCalIGains(), ElementsAre(-1));
  }
  mHwinfo->Set("HwOneOrThreePhase", 3);
  EXPECT_TRUE(config.IsSinglePhaseSupported());
  EXPECT_TRUE(config.IsThreePhaseSupported());
  EXPECT_EQ(config.GetDefaultPhaseCount(), 3);
  EXPECT_THAT(config.GetBopCalIGains(), ElementsAre(-1, 0, 3));
  EXPECT_THAT(config.GetBopCalIRmsOffsets(), ElementsAre(0, 5, 0));
}

TEST_F(CConfigTest, SolarModeChoosesTheStrategy) {
  const auto& config = Create();
  EXPECT_EQ(config.GetSolarStrategy().CurrentOffset, 4000);
  mSettings->Set("SolarChargingMode", "PureSolar");
  EXPECT_EQ(config.GetSolarStrategy().ContinuousStopThreshold, 900);
  mSettings->Set("SolarChargingMode", "MaxSolar");
  EXPECT_EQ(config.GetSolarStrategy().Phases, 3);

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
  EXPECT_EQ(strategy.PowerThreshold, 1300);
  EXPECT_EQ(strategy.ContinuousStartThreshold, 60);
  EXPECT_EQ(strategy.ContinuousStopThreshold, 900);
  mSettings->Set("SolarChargingAdvancedPowerThreshold", -200);
  mSettings->Set("SolarChargingAdvancedCurrentGain", 0.5);
  mSettings->Set("SolarChargingAdvancedPhases", 3);
  std::thread other([&] { EXPECT_EQ(config.GetSolarStrategy().Phases, 3); });
  other.join();
  EXPECT_EQ(strategy.Phases, 1);  // what one thread reads is not overwritten by another
  config.GetSolarStrategy();
  EXPECT_EQ(strategy.Phases, 3);
  EXPECT_EQ(strategy.PowerThreshold, -200);
  EXPECT_EQ(strategy.CurrentGain, 0.5F);
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
    EXPECT_FALSE(isValid("modbustcp", other)) << model;
  }
  for (const Json::Value& noObject : {Json::Value("type"), Json::Value(5), Json::Value(Json::arrayValue)}) {
    EXPECT_FALSE(isValid("modbustcp", noObject)) << noObject;
    EXPECT_TRUE(isValid("modbusrtu", noObject)) << noObject;
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
