#include "src/components/measurementsourceconnection.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include <json/value.h>

#include "platform/log/log.h"
#include "platform/utility/jsontext.h"
#include "platform/utility/text.h"
#include "src/components/currentcontrolconfig.h"
#include "src/components/meterfeatures.h"
#include "src/components/settingskeys.h"

namespace {

using JsonText::ToLog;

constexpr auto kClassName = "CMeasurementSourceConnection";
/// In bytes; far beyond any meter's, and of no weight in the settings file.
constexpr std::size_t kLongestParameters = 4096;

/// Answers an empty text or what is wrong.
std::string ReadParameters(const std::string& text, Json::Value& parameters) {
  if (text.size() > kLongestParameters) return fmt::format("its parameters have {} bytes", text.size());
  const std::string error = text.empty() ? std::string() : JsonText::ParseObject(text, parameters);
  if (!error.empty()) return fmt::format("its parameters are no JSON object: {}", error);
  for (const std::string& name : parameters.getMemberNames()) {
    const Json::Value& value = parameters[name];
    if (value.isObject() || value.isArray()) {
      return fmt::format("its parameter {} is not a plain value", ToLog(Json::Value(name)));
    }
  }
  return {};
}

/// Whether there is anything to forget: an address that is still to be found is not.
bool HasContent(const Json::Value& parameters) {
  return std::ranges::any_of(parameters, [](const Json::Value& value) { return value != Json::Value(""); });
}

}  // namespace

CMeasurementSourceConnection::CMeasurementSourceConnection(std::shared_ptr<CCurrentControlConfig> config)
    : mConfig(std::move(config)) {}

void CMeasurementSourceConnection::Set(const ipc::MMeasurementSource& connection) {
  LOG_ENTRY(kClassName);
  const std::string type = ToLog(Json::Value(connection.type()));
  Json::Value parameters(Json::objectValue);
  std::string error = ReadParameters(connection.parameters(), parameters);
  if (error.empty() && !mConfig->IsValidPowerSource(connection.type(), parameters)) {
    error = "its type is none, or its parameters name no model of that type";
  }
  if (!error.empty()) {
    LOG_WARNING("Connection of a measurement source of type {} ignored: {}", type, error);
    return;
  }

  bool isUsed = false;
  for (const SMeterFeature& feature : MeterFeatures()) {
    if (feature.Source(*mConfig) != connection.type()) continue;
    isUsed = true;
    feature.store(*mConfig, parameters);
    LOG_INFO("Connection of a measurement source of type {} set for {}", type, feature.name);
  }
  if (!isUsed) LOG_WARNING("Connection of a measurement source of type {} ignored: no feature uses it", type);
}

void CMeasurementSourceConnection::Clear() {
  LOG_ENTRY(kClassName);
  for (const SMeterFeature& feature : MeterFeatures()) {
    Json::Value parameters;
    if (Text::ToLowerCase(feature.Source(*mConfig)) == SettingsKeys::kCurrentTransformers) continue;
    if (!feature.TryParameters(*mConfig, parameters) || !HasContent(parameters)) continue;
    feature.store(*mConfig, Json::objectValue);
    LOG_INFO("Connection of the measurement source of {} cleared", feature.name);
  }
}
