#pragma once

#include <span>
#include <string>
#include <string_view>

#include <json/forwards.h>

class CCurrentControlConfig;

/// A feature that measures the house with a meter of its own choice, and where its settings keep that.
struct SMeterFeature {
  std::string_view name;
  std::string_view parametersKey;
  std::string (*source)(CCurrentControlConfig&);
  Json::Value (*parameters)(CCurrentControlConfig&);
  void (*store)(CCurrentControlConfig&, const Json::Value&);
};

/// All of them. Any thread.
std::span<const SMeterFeature> MeterFeatures();

/// Stores where a HomeWizard meter was found, its "address" and what else is given, for every feature that
/// uses one and knew it by the former address. Its other parameters stay, and so does stored text that is no
/// JSON object. One call at a time.
void StoreFoundHomeWizard(CCurrentControlConfig& config, const std::string& formerAddress,
                          const Json::Value& found);
