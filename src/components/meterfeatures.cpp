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
    {"blackout protection", SettingsKeys::kBopSource, SettingsKeys::kCurrentTransformers,
     SettingsKeys::kBopSourceParameters,
     [](Config& config, const Json::Value& parameters) { config.SetBopSourceParameters(parameters); }},
    {"solar charging", SettingsKeys::kSolarSource, "", SettingsKeys::kSolarSourceParameters,
     [](Config& config, const Json::Value& parameters) {
       config.SetSolarChargingSourceParameters(parameters);
     }},
    {"household power limit", SettingsKeys::kHouseholdSource, "", SettingsKeys::kHouseholdSourceParameters,
     [](Config& config, const Json::Value& parameters) {
       config.SetUserDefinedHouseholdPowerLimitSourceParameters(parameters);
     }},
}};

}  // namespace

std::string SMeterFeature::Source(CCurrentControlConfig& config) const {
  return config.GetSettingsConfig()->GetString(sourceKey, defaultSource);
}

bool SMeterFeature::TryParameters(CCurrentControlConfig& config, Json::Value& parameters) const {
  parameters = Json::objectValue;
  return SourceParameters::TryParse(parametersKey, config.GetSettingsConfig()->GetString(parametersKey, ""),
                                    parameters);
}

std::span<const SMeterFeature> MeterFeatures() {
  return kFeatures;
}

void StoreFoundHomeWizard(CCurrentControlConfig& config, const std::string& formerAddress,
                          const Json::Value& found) {
  for (const SMeterFeature& feature : kFeatures) {
    Json::Value parameters;
    if (Text::ToLowerCase(feature.Source(config)) != SettingsKeys::kHomeWizard) continue;
    if (!feature.TryParameters(config, parameters)) continue;
    if (SourceParameters::TextOf(parameters, "address") != formerAddress) continue;
    for (const std::string& name : found.getMemberNames()) parameters[name] = found[name];
    feature.store(config, parameters);
  }
}
