#include "src/rpc/clients/temperaturelinks.h"

#include <map>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "platform/log/log.h"

namespace {

std::map<EThermalSource, float> Present(const ipc::MMcuTemperatures& notification) {
  std::map<EThermalSource, float> temperatures;
  if (notification.has_relay1()) temperatures[EThermalSource::Relay1] = notification.relay1();
  if (notification.has_relay2()) temperatures[EThermalSource::Relay2] = notification.relay2();
  if (notification.has_earth_leakage_detector1()) {
    temperatures[EThermalSource::EarthLeakageDetector1] = notification.earth_leakage_detector1();
  }
  if (notification.has_earth_leakage_detector2()) {
    temperatures[EThermalSource::EarthLeakageDetector2] = notification.earth_leakage_detector2();
  }
  return temperatures;
}

std::string_view LabelOf(EThermalSource source) {
  switch (source) {
    case EThermalSource::Relay1:
      return " Relay1: ";
    case EThermalSource::Relay2:
      return " Relay2: ";
    case EThermalSource::EarthLeakageDetector1:
      return " Eld1: ";
    case EThermalSource::EarthLeakageDetector2:
      return " Eld2: ";
    default:
      return " Unknown: ";
  }
}

void OnMcuTemperatures(const ipc::MMcuTemperatures& notification, const TemperatureHandler& handler) {
  const auto temperatures = Present(notification);
  if (temperatures.empty()) {
    LOG_WARNING("No temperature received from McuTemperatures notification");
    return;
  }
  std::string text;
  for (const auto& [source, celsius] : temperatures) {
    handler(source, celsius);
    fmt::format_to(std::back_inserter(text), "{}{:f}", LabelOf(source), celsius);
  }
  LOG_TRACE("Received temperature notification from SMCU: [{} ] °C", text);
}

}  // namespace

Rpc::Subscription LinkTemperatures(ipc::CAdacClient& peer, TemperatureHandler handler) {
  return peer.TemperatureNotifications(
      {}, [handler = std::move(handler)](const ipc::MTemperature& temperature) {
        LOG_TRACE("Received temperature notification from Adac: {} °C", temperature.celsius());
        handler(EThermalSource::Adac, temperature.celsius());
      });
}

Rpc::Subscription LinkTemperatures(ipc::CNetMClient& peer, TemperatureHandler handler) {
  return peer.TemperatureNotifications(
      {}, [handler = std::move(handler)](const ipc::MTemperature& temperature) {
        LOG_TRACE("Temperature received from NetM: {} °C", temperature.celsius());
        handler(EThermalSource::NetM, temperature.celsius());
      });
}

Rpc::Subscription LinkTemperatures(ipc::CSafetyMcuCommClient& peer, TemperatureHandler handler) {
  return peer.TemperatureNotifications(
      {}, [handler = std::move(handler)](const ipc::MMcuTemperatures& temperatures) {
        OnMcuTemperatures(temperatures, handler);
      });
}
