#include "tools/currentcontrolctl/metertypes.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "platform/utility/text.h"
#include "src/components/settingskeys.h"

namespace {

constexpr std::string_view kChip = "the metering chip";
constexpr std::string_view kLine = "the serial line";

constexpr std::array<SMeterType, 5> kTypes{{
    {SettingsKeys::kCurrentTransformers, "the station's own current transformers", R"({"type": "C-CT-16"})",
     kChip},
    {SettingsKeys::kP1Extender, "the P1 port of a smart meter, on the serial line", "{}", kLine},
    {SettingsKeys::kHomeWizard,
     "a HomeWizard meter on the network; without an address it is looked for",
     R"({"address": "192.168.1.20"})",
     {}},
    {SettingsKeys::kModbusTcp,
     "a Modbus meter on the network",
     R"({"type": "siemens_pac2200", "address": "192.168.1.30"})",
     {}},
    {SettingsKeys::kModbusRtu, "a Modbus meter on the serial line", R"({"type": "eastron_sdm630"})", kLine},
}};

}  // namespace

std::span<const SMeterType> MeterTypes() {
  return kTypes;
}

const SMeterType* FindMeterType(std::string_view name) {
  const auto* found = std::ranges::find(kTypes, Text::ToLowerCase(std::string(name)), &SMeterType::name);
  return found == kTypes.end() ? nullptr : found;
}

std::string MeterTypesText() {
  std::string text = fmt::format("{:<12}{:<70}{}\n", "TYPE", "", "PARAMS, FOR EXAMPLE");
  for (const SMeterType& type : kTypes)
    text += fmt::format("{:<12}{:<70}{}\n", type.name, type.help, type.parameters);
  return text;
}

Json::Value MeterTypesJson() {
  Json::Value json;
  for (const SMeterType& type : kTypes) {
    Json::Value element;
    element["type"] = std::string(type.name);
    element["help"] = std::string(type.help);
    json["types"].append(element);
  }
  return json;
}
