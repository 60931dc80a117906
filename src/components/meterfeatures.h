#pragma once

#include <span>
#include <string>
#include <string_view>

#include <json/forwards.h>

class CCurrentControlConfig;

/// A feature that measures the house with a meter of its own choice, and where the settings keep that. To
/// look there derives nothing from other features, as the configuration's own getters do.
struct SMeterFeature {
  std::string_view name;
  std::string_view sourceKey;
  std::string_view defaultSource;
  std::string_view parametersKey;
  void (*store)(CCurrentControlConfig&, const Json::Value&);

  std::string Source(CCurrentControlConfig& config) const;
  /// False, with an error line, when the stored text is no JSON object.
  bool TryParameters(CCurrentControlConfig& config, Json::Value& parameters) const;
};

/// All of them. Any thread.
std::span<const SMeterFeature> MeterFeatures();

/// Stores where a HomeWizard meter was found, its "address" and what else is given, for every feature that
/// uses one and knew it by the former address. Its other parameters stay, and so does stored text that is no
/// JSON object. One call at a time.
void StoreFoundHomeWizard(CCurrentControlConfig& config, const std::string& formerAddress,
                          const Json::Value& found);
