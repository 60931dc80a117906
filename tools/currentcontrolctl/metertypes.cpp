#include "tools/currentcontrolctl/metertypes.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "platform/utility/text.h"
#include "src/components/measurementsources/modbusmetermodels.h"
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

std::string KindsText(const SModbusMeterModel& model) {
  const bool hasTcp = model.Has(EModbusConnectionKind::Tcp);
  if (!model.Has(EModbusConnectionKind::Rtu)) return "tcp";
  return hasTcp ? "tcp, rtu" : "rtu";
}

/// "9600 8N1"
std::string SerialText(const SModbusMeterModel& model) {
  if (!model.Has(EModbusConnectionKind::Rtu)) return "-";
  return fmt::format("{} 8{}{}", model.serial.baud, static_cast<char>(model.serial.parity),
                     model.serial.stopBits);
}

std::string PhasesText(const SModbusMeterModel& model) {
  return model.sunSpec == ESunSpec::No ? std::to_string(model.map.phases) : "1 or 3";
}

std::string MissingText(const SModbusMeterModel& model) {
  return model.sunSpec == ESunSpec::No && !model.map.current ? " (total power alone)" : "";
}

/// What nobody has seen on such a meter yet.
std::string_view TrustText(EOnTrust onTrust) {
  switch (onTrust) {
    case EOnTrust::Serial:
      return "serial";
    case EOnTrust::Map:
      return "registers";
    case EOnTrust::MapAndSerial:
      return "registers, serial";
    case EOnTrust::Nothing:
      break;
  }
  return "-";
}

}  // namespace

std::span<const SMeterType> MeterTypes() {
  return kTypes;
}

const SMeterType* FindMeterType(std::string_view name) {
  const auto* found = std::ranges::find(kTypes, Text::ToLowerCase(std::string(name)), &SMeterType::name);
  return found == kTypes.end() ? nullptr : found;
}

std::string MeterTypesText() {
  std::string text = fmt::format("{:<12}{:<74}{}\n", "TYPE", "", "PARAMS, FOR EXAMPLE");
  for (const SMeterType& type : kTypes)
    text += fmt::format("{:<12}{:<74}{}\n", type.name, type.help, type.parameters);
  text += fmt::format("\n{:<20}{:<10}{:<8}{:<6}{:<12}{:<19}{}", "MODBUS \"type\"", "BY", "PHASES", "UNIT",
                      "SERIAL", "TAKEN ON TRUST", "METER");
  for (const SModbusMeterModel& model : ModbusMeterModels()) {
    text += fmt::format("\n{:<20}{:<10}{:<8}{:<6}{:<12}{:<19}{}{}", model.name, KindsText(model),
                        PhasesText(model), model.unit, SerialText(model), TrustText(model.onTrust),
                        model.title, MissingText(model));
  }
  return text;
}

Json::Value MeterTypesJson() {
  Json::Value json;
  for (const SMeterType& type : kTypes) {
    Json::Value& element = json["types"].append({});
    element["type"] = std::string(type.name);
    element["help"] = std::string(type.help);
  }
  for (const SModbusMeterModel& model : ModbusMeterModels()) {
    Json::Value& element = json["modbus_types"].append({});
    element["type"] = std::string(model.name);
    element["meter"] = std::string(model.title);
    element["tcp"] = model.Has(EModbusConnectionKind::Tcp);
    element["rtu"] = model.Has(EModbusConnectionKind::Rtu);
    element["phases"] = PhasesText(model);
    element["unit"] = model.unit;
    element["serial"] = SerialText(model);
    element["on_trust"] = std::string(TrustText(model.onTrust));
  }
  return json;
}
