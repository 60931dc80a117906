#include "src/components/currentcontrolconfig.h"

#include <fstream>
#include <sstream>
#include <thread>

#include "components/componentstation.h"
#include "src/components/meterfeatures.h"

namespace {

using ELevel = Log::ELogLevel;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class CConfigTest : public ::testing::Test, protected SComponentStation {
 protected:
  /// The accessor over what the stores hold by now.
  CCurrentControlConfig& Create() {
    config = std::make_shared<CCurrentControlConfig>(settings, hwinfo);
    return *config;
  }

  CMemoryConfig& StoreOf(std::string_view key) { return key.starts_with("Hw") ? *hwinfo : *settings; }
  std::string Text(std::string_view key) const { return settings->Get(key).asString(); }
};

using C = CCurrentControlConfig;

template <auto kGetter>
std::string Get(C& config) {
  return fmt::format("{}", (config.*kGetter)());
}

/// The lines of a page for people that begin so.
std::vector<std::string> LinesOf(const std::string& page, const std::string& begin) {
  std::vector<std::string> lines;
  std::ifstream file(std::string(PAGES) + "/" + page);
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(begin)) lines.push_back(line);
  }
  return lines;
}

TEST_F(CConfigTest, GettersFollowTheirKeysDefaultsAndUnits) {
  const struct {
    const char* key;
    std::string (*get)(C&);
    std::string absent = "false";
    Json::Value value = true;
    std::string whenSet = "true";
  } kCases[] = {
      {"HwHasRs485", Get<&C::HasRs485>},
      {"HwRs485AutoDirection", Get<&C::HasRs485AutoDirection>},
      {"HwHasBop", Get<&C::HasCtConnector>},
      {"HwHasDigitalInputs", Get<&C::HasDigitalInputs>},
      {"UserDefinedHouseholdPowerLimitEnable", Get<&C::IsUserDefinedHouseholdPowerLimitEnabled>},
      {"UserDefinedHouseholdPowerLimitAllowed", Get<&C::IsUserDefinedHouseholdPowerLimitAllowed>},
      {"CurrentCtrlOverUnderVoltageDetectionEnable", Get<&C::IsOverUnderVoltageDetectionEnabled>},
      {"LocalSmartChargingAllowed", Get<&C::GetLocalSmartChargingAllowed>},
      {"SolarChargingAllowed", Get<&C::GetSolarChargingAllowed>},
      {"SolarChargingEnable", Get<&C::GetSolarChargingEnable>},
      {"PowerLimitInputEnable", Get<&C::GetPowerLimitInputEnable>},
      {"PowerLimitInputDi1Inverse", Get<&C::GetPowerLimitInputDi1Inverse>},
      {"PowerLimitInputDi2Inverse", Get<&C::GetPowerLimitInputDi2Inverse>},
      {"HwMaxCurrent", Get<&C::GetConfigHardwareLimit>, "0", 7, "7"},
      {"HwCtType", Get<&C::GetCtType>, "VAC4624", "other", "other"},
      {"HwOneOrThreePhase", Get<&C::GetNumberOfPhases>, "1", 3, "3"},
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
      {"ConnectedPhases", Get<&C::GetConnectedPhases>, "0", 7, "7"},
      {"CurrentCtrlOverVoltageLimit", Get<&C::GetOverVoltageLimit>, "253", 7, "7"},
      {"CurrentCtrlUnderVoltageLimit", Get<&C::GetUnderVoltageLimit>, "207", 7, "7"},
      {"SolarChargingPhaseSwitchingMode", Get<&C::GetSolarPhaseSwitchingMode>, "Automatic", "other", "other"},
      {"UserDefinedChargeLimitCurrent", Get<&C::GetUserDefinedChargeLimitCurrent>, "32", 7, "7"},
      {"PowerLimitInputDi1Limit", Get<&C::GetPowerLimitInputDi1LimitMilliAmpere>, "6000", 7, "7000"},
      {"PowerLimitInputDi2Limit", Get<&C::GetPowerLimitInputDi2LimitMilliAmpere>, "0", 7, "7000"},
  };
  std::size_t checked = 0;
  for (const auto& [key, get, absent, value, whenSet] : kCases) {
    EXPECT_EQ(get(*config), absent) << key;
    StoreOf(key).Set(key, value);
    EXPECT_EQ(get(*config), whenSet) << key;
    StoreOf(key).Set(key, {});
    for (const auto* page : {"blackout-protection.md", "solar-charging.md"}) {
      for (const auto& row : LinesOf(page, fmt::format("| `{}`", key))) {
        EXPECT_THAT(row, HasSubstr("| " + absent + " |"));
        ++checked;
      }
    }
  }
  EXPECT_EQ(checked, 14U);
}

TEST_F(CConfigTest, HardwarePhasesDecideCalibrationAndDefaults) {
  using Values = std::vector<std::int32_t>;
  for (const auto& [key, value] : {std::pair("GainA", -1),
                                   {"GainB", 2},
                                   {"GainC", 3},
                                   {"RmsOffsetA", 4},
                                   {"RmsOffsetB", 5},
                                   {"RmsOffsetC", -6}}) {
    hwinfo->Set(std::string("BopCalI") + key, value);
  }
  for (const int phases : {1, 0, 2, 3}) {
    const bool three = phases == 3;
    hwinfo->Set("HwOneOrThreePhase", phases);
    EXPECT_EQ(config->GetDefaultPhaseCount(), three ? 3 : 1);
    EXPECT_EQ(config->GetBopCalIGains(), three ? Values({-1, 2, 3}) : Values({-1}));
    EXPECT_EQ(config->GetBopCalIRmsOffsets(), three ? Values({4, 5, -6}) : Values({4}));
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
  for (const auto& [phases, switching, connected, one, several] : kCases) {
    hwinfo->Set("HwOneOrThreePhase", phases);
    hwinfo->Set("HwHasPhaseSwitching", switching);
    settings->Set("ConnectedPhases", connected);
    EXPECT_EQ(config->IsSinglePhaseSupported(), one) << connected.asInt() << " of " << phases;
    EXPECT_EQ(config->IsMultiPhaseAllowed(), several) << connected.asInt() << " of " << phases;
  }
  EXPECT_THAT(
      log.Texts(ELevel::Warning),
      ElementsAre(
          "ConnectedPhases is set to 8 in settings.json, no mask of three phases: taken as not said"));
}

TEST_F(CConfigTest, SolarStrategiesAreThoseOfThePageAndTheSettings) {
  EXPECT_EQ(config->GetSolarStrategy().CurrentOffset, 4000) << "by default";
  const auto row = [this](const std::string& mode) {
    settings->Set("SolarChargingMode", mode);
    const auto& s = config->GetSolarStrategy();
    return fmt::format("| {} | {} | {} | {} | {} | {} | {} |", mode, s.PowerThreshold, s.CurrentOffset,
                       s.CurrentGain, s.ContinuousStartThreshold, s.ContinuousStopThreshold,
                       s.Phases == 3 ? "3" : "1 or 3");
  };
  for (const auto* mode : {"PureSolar", "OptimizedSolar", "MaxSolar", "AdvancedSolar"}) {
    EXPECT_THAT(LinesOf("solar-charging.md", std::string("| ") + mode), ElementsAre(row(mode)));
  }
  const auto& strategy = config->GetSolarStrategy();
  settings->Set("SolarChargingAdvancedPowerThreshold", -200);
  settings->Set("SolarChargingAdvancedCurrentOffset", 300);
  settings->Set("SolarChargingAdvancedCurrentGain", 0.5);
  settings->Set("SolarChargingAdvancedContinuousStartThreshold", 61);
  settings->Set("SolarChargingAdvancedContinuousStopThreshold", 901);
  settings->Set("SolarChargingAdvancedPhases", 3);
  std::thread([&] { EXPECT_EQ(config->GetSolarStrategy().Phases, 3); }).join();
  EXPECT_EQ(strategy.Phases, 1);  // what one thread reads is not overwritten by another
  EXPECT_EQ(row("AdvancedSolar"), "| AdvancedSolar | -200 | 300 | 0.5 | 61 | 901 | 3 |");
  settings->Set("SolarChargingAdvancedPhases", 2);
  EXPECT_EQ(config->GetSolarStrategy().Phases, 1);

  settings->Set("SolarChargingMode", "puresolar\n" + std::string(500'000, '\n'));
  for (int call = 0; call < 2; ++call) EXPECT_EQ(config->GetSolarStrategy().CurrentOffset, 4000);
  EXPECT_THAT(
      log.Texts(ELevel::Warning),
      ElementsAre("Unknown solar charging mode 'puresolar' in config, defaulting to 'OptimizedSolar'"));
}

TEST_F(CConfigTest, MetersOfOlderSettingsBecomeThoseOfTheFeaturesOnce) {
  const struct {
    const char *source, *parameters, *address, *solar;  // as older settings have them
    const char *bop, *others;                           // as they are then: of each feature
  } kCases[] = {
      {"CT", "broken {", "10.0.0.7", "", "broken { 10.0.0.7", "  |   | "},
      {"homewizard", "", "10.0.0.7", "", R"({"address":"10.0.0.7"} )",
       R"(homewizard {"address":"10.0.0.7"} | homewizard {"address":"10.0.0.7"} | true)"},
      {"homewizard", R"({"address":"10.0.0.7"})", "10.0.0.8", "", R"({"address":"10.0.0.7"} 10.0.0.8)",
       R"(homewizard {"address":"10.0.0.7"} | homewizard {"address":"10.0.0.7"} | true)"},
      {"homewizard", R"({"port": 80, "address": )", "10.0.0.8", "", R"({"port": 80, "address":  10.0.0.8)",
       R"(homewizard {} | homewizard {"address":""} | true)"},
      {"p1extender", "", "", "carrier pigeon", " ", "carrier pigeon  | p1extender {} | true"}};
  for (const auto& [source, parameters, address, solar, bop, others] : kCases) {
    settings = std::make_shared<CMemoryConfig>();
    settings->Set("BopSource", source);
    settings->Set("BopSourceParameters", parameters);
    settings->Set("BopHomeWizardAddress", address);
    settings->Set("SolarChargingSource", solar);
    Create();
    EXPECT_EQ(Text("BopSourceParameters") + " " + Text("BopHomeWizardAddress"), bop);
    // Found by the call that asks, in force from the next.
    const auto found = config->GetUserDefinedHouseholdPowerLimitSourceParameters();
    EXPECT_EQ(found.get("address", "").asString(), "");
    const auto writes = settings->Writes().size();
    Create().GetUserDefinedHouseholdPowerLimitSource();
    EXPECT_EQ(settings->Writes().size(), writes);
    EXPECT_EQ(Text("SolarChargingSource") + " " + Text("SolarChargingSourceParameters") + " | " +
                  Text("UserDefinedHouseholdPowerLimitSource") + " " +
                  Text("UserDefinedHouseholdPowerLimitSourceParameters") + " | " +
                  Text("UserDefinedHouseholdPowerLimitEnable"),
              others);
  }
  settings->Set("BopSource", "CT");
  EXPECT_EQ(config->GetBopSourceParameters()["type"], "None") << "transformers have parameters of their own";
}

TEST_F(CConfigTest, ModbusTcpNeedsAModelThatHasTcp) {
  Json::Value params;
  EXPECT_FALSE(config->IsValidPowerSource("modbustcp", params));
  params["Type"] = "CG_EM24_E1";
  EXPECT_TRUE(config->IsValidPowerSource("modbustcp", params));
  for (const Json::Value& model : {Json::Value("abb_b23"), Json::Value("nothing"), Json::Value(5), params}) {
    Json::Value other;
    other["type"] = model;
    EXPECT_FALSE(config->IsValidPowerSource("modbustcp", other));
  }
  EXPECT_FALSE(config->IsValidPowerSource("modbustcp", Json::arrayValue)) << "no object";
  EXPECT_TRUE(config->IsValidPowerSource("modbusrtu", Json::arrayValue));
  EXPECT_FALSE(config->IsValidPowerSource("ct", {}));
  EXPECT_FALSE(config->IsValidPowerSource("HomeWizard", {}));
}

TEST_F(CConfigTest, AFoundHomeWizardIsStoredForWhomeverKnewItByItsFormerAddress) {
  settings->Set("BopSource", "homewizard");
  settings->Set("BopSourceParameters", R"({"address":"10.0.0.5","note":1})");
  settings->Set("SolarChargingSource", "homewizard");
  settings->Set("SolarChargingSourceParameters", R"({"address":"10.0.0.6"})");
  settings->Set("UserDefinedHouseholdPowerLimitSource", "homewizard");
  settings->Set("UserDefinedHouseholdPowerLimitSourceParameters", R"({"address":"10.0.0.5",)");
  Json::Value found;
  found["address"] = "10.0.0.7";
  found["serial"] = "5c2faf334455";
  StoreFoundHomeWizard(*config, "10.0.0.5", found);
  EXPECT_EQ(Text("BopSourceParameters"), R"({"address":"10.0.0.7","note":1,"serial":"5c2faf334455"})");
  EXPECT_EQ(Text("SolarChargingSourceParameters"), R"({"address":"10.0.0.6"})");
  // Broken text may still be mended by hand.
  EXPECT_EQ(Text("UserDefinedHouseholdPowerLimitSourceParameters"), R"({"address":"10.0.0.5",)");
  // A feature that nobody has set up is not set up by that.
  settings->Set("SolarChargingSource", {});
  settings->Set("UserDefinedHouseholdPowerLimitSource", {});
  StoreFoundHomeWizard(*config, "10.0.0.7", found);
  EXPECT_TRUE(settings->Get("SolarChargingSource").isNull());
  EXPECT_TRUE(settings->Get("UserDefinedHouseholdPowerLimitEnable").isNull());
}

TEST_F(CConfigTest, HostileParameterTextIsOneErrorLineAndAnEmptyObject) {
  settings->Set("SolarChargingSource", "homewizard");
  settings->Set("BopSource", "homewizard");
  for (const std::string& text :
       {std::string("{"), std::string("[1, 2]"), std::string("null"),
        "{\"address\": 1e" + std::string(500'000, 'e') + "}", std::string(100000, '[')}) {
    settings->Set("SolarChargingSourceParameters", text);
    settings->Set("BopSourceParameters", text);
    log.Clear();
    EXPECT_EQ(config->GetSolarChargingSourceParameters(), Json::Value(Json::objectValue));
    EXPECT_EQ(config->GetBopSourceParameters(), Json::Value(Json::objectValue));
    ASSERT_THAT(log.Texts(ELevel::Error),
                ElementsAre(StartsWith("Failed to get SolarChargingSourceParameters: "),
                            StartsWith("Failed to get BopSourceParameters: ")));
    EXPECT_EQ(log.Lines()[0].text.find('\n'), std::string::npos);
    EXPECT_LT(log.Lines()[0].text.size(), 300U);
    EXPECT_EQ(Text("SolarChargingSourceParameters"), text);
  }
}

}  // namespace
