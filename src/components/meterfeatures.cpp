#include "src/components/meterfeatures.h"

#include <array>

#include <json/value.h>

#include "platform/utility/text.h"
#include "src/components/currentcontrolconfig.h"
#include "src/components/settingskeys.h"
#include "src/components/sourceparameters.h"

namespace {

using Config = CCurrentControlConfig;

constexpr std::array<SMeterFeature, 3> kFeatures{{
    {"blackout protection", SettingsKeys::kBopSourceParameters,
     [](Config& config) { return config.GetBopSource(); },
     [](Config& config) { return config.GetBopSourceParameters(); },
     [](Config& config, const Json::Value& parameters) { config.SetBopSourceParameters(parameters); }},
    {"solar charging", SettingsKeys::kSolarSourceParameters,
     [](Config& config) { return config.GetSolarChargingSource(); },
     [](Config& config) { return config.GetSolarChargingSourceParameters(); },
     [](Config& config, const Json::Value& parameters) {
       config.SetSolarChargingSourceParameters(parameters);
     }},
    {"household power limit", SettingsKeys::kHouseholdSourceParameters,
     [](Config& config) { return config.GetUserDefinedHouseholdPowerLimitSource(); },
     [](Config& config) { return config.GetUserDefinedHouseholdPowerLimitSourceParameters(); },
     [](Config& config, const Json::Value& parameters) {
       config.SetUserDefinedHouseholdPowerLimitSourceParameters(parameters);
     }},
}};

}  // namespace

std::span<const SMeterFeature> MeterFeatures() {
  return kFeatures;
}

void StoreFoundHomeWizard(CCurrentControlConfig& config, const std::string& formerAddress,
                          const Json::Value& found) {
  for (const SMeterFeature& feature : kFeatures) {
    if (Text::ToLowerCase(feature.source(config)) != SettingsKeys::kHomeWizard) continue;
    Json::Value parameters(Json::objectValue);
    const std::string stored = config.GetSettingsConfig()->GetString(feature.parametersKey, "");
    if (!SourceParameters::TryParse(feature.parametersKey, stored, parameters)) continue;
    if (SourceParameters::TextOf(parameters, "address") != formerAddress) continue;
    for (const std::string& name : found.getMemberNames()) parameters[name] = found[name];
    feature.store(config, parameters);
  }
}
