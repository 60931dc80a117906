#include "tools/currentcontrolctl/meterreport.h"

#include <fmt/format.h>

#include "platform/utility/jsontext.h"
#include "src/components/settingskeys.h"
#include "src/components/sourceparameters.h"
#include "tools/display/limitstable.h"

namespace {

std::string PhaseLine(std::string_view quantity, const std::array<std::string, 3>& texts) {
  return fmt::format("{:<12}{:>12}{:>12}{:>12}\n", quantity, texts[0], texts[1], texts[2]);
}

std::string FormatVolt(std::int32_t volt) {
  return fmt::format("{} V", volt);
}

template <class TFormat>
std::string PhaseLine(std::string_view quantity, const ThreePhaseValue& value, TFormat format) {
  return PhaseLine(quantity, std::array{format(value[0]), format(value[1]), format(value[2])});
}

Json::Value PhasesToJson(const ThreePhaseValue& value) {
  Json::Value json = Json::arrayValue;
  for (const std::int32_t phase : value) json.append(phase);
  return json;
}

}  // namespace

std::string FormatReading(const SMeterReading& reading) {
  std::string text;
  if (reading.current || reading.voltage) text += PhaseLine("", std::array<std::string, 3>{"L1", "L2", "L3"});
  if (reading.current) text += PhaseLine("current", *reading.current, FormatAmpere);
  if (reading.voltage) text += PhaseLine("voltage", *reading.voltage, FormatVolt);
  if (reading.activePower) {
    const std::int32_t watt = (*reading.activePower)[0];
    text += fmt::format("{:<12}{:>12}{}\n", "total power", fmt::format("{} W", watt),
                        watt < 0 ? "  (fed in)" : "");
  }
  return text.empty() ? "nothing that the service could use\n" : text;
}

Json::Value ReadingToJson(const SMeterReading& reading) {
  Json::Value json(Json::objectValue);
  if (reading.current) json["current_milliampere"] = PhasesToJson(*reading.current);
  if (reading.voltage) json["voltage_volt"] = PhasesToJson(*reading.voltage);
  if (reading.activePower) json["total_power_watt"] = (*reading.activePower)[0];
  return json;
}

std::string FormatSettings(std::string_view type, const Json::Value& parameters) {
  // Transformers have a setting of their own.
  const bool isCt = type == SettingsKeys::kCurrentTransformers;
  const std::string value =
      isCt ? SourceParameters::TextOf(parameters, "type") : JsonText::ToLine(parameters);
  return fmt::format("\"{}\": \"{}\", \"{}\": {}", SettingsKeys::kBopSource, type,
                     isCt ? "CurrentCtrlBopCtType" : SettingsKeys::kBopSourceParameters,
                     JsonText::ToLine(Json::Value(value)));
}
