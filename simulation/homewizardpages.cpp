#include "simulation/homewizardpages.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include <fmt/format.h>

namespace HomeWizardPages {

namespace {

constexpr std::uint32_t kOk = 200;
constexpr std::uint32_t kForbidden = 403;
constexpr std::uint32_t kNotFound = 404;
constexpr auto kProductName = "P1 Meter";
constexpr std::size_t kInstanceDigits = 6;

std::string DevicePage(const SDevice& device) {
  return fmt::format(
      R"({{"product_type":"{}","product_name":"{}","serial":"{}","firmware_version":"5.18","api_version":"v1"}})",
      device.productType, kProductName, device.serial);
}

double InThousands(std::uint64_t thousandths) {
  return static_cast<double>(thousandths) / 1000;
}

/// Whole amperes and tenths of volts, as the smart meters that it reads have them.
std::string DataPage(const CHouseMeter::SView& view) {
  std::string page = R"({"wifi_ssid":"Example","wifi_strength":84,"smr_version":50,"active_tariff":1)";
  const auto out = std::back_inserter(page);
  fmt::format_to(out,
                 R"(,"total_power_import_kwh":{:.3f},"total_power_export_kwh":{:.3f},"active_power_w":{})",
                 InThousands(view.importedWattHours), InThousands(view.exportedWattHours), view.TotalWatt());
  for (std::size_t index = 0; index < view.watt.size(); ++index) {
    const std::size_t phase = index + 1;
    fmt::format_to(out,
                   R"(,"active_power_l{}_w":{},"active_voltage_l{}_v":{:.1f},"active_current_l{}_a":{:.0f})",
                   phase, view.watt[index], phase, InThousands(view.milliVolt[index]), phase,
                   InThousands(view.milliAmpere[index]));
  }
  return page + R"(,"external":[]})";
}

SPage PageOf(CHouseMeter& meter, const SDevice& device, std::string_view path) {
  if (!device.isApiOn) return {kForbidden, R"({"error":{"id":202,"description":"API not enabled"}})"};
  if (path == "/api") return {kOk, DevicePage(device)};
  if (path == "/api/v1/data") return {kOk, DataPage(meter.View())};
  return {kNotFound, R"({"error":{"id":0,"description":"Not found"}})"};
}

}  // namespace

std::optional<SPage> Get(CHouseMeter& meter, const SDevice& device, std::string_view path) {
  if (meter.Fate() == CHouseMeter::EFate::Away) return std::nullopt;
  SPage page = PageOf(meter, device, path);
  if (meter.Fate() == CHouseMeter::EFate::Garbled) page.body.resize(page.body.size() / 2);
  return page;
}

SFoundService Announced(const SDevice& device, const std::string& address, std::uint16_t port) {
  const std::size_t digits = device.serial.size();
  return {.instance = "p1meter-" + device.serial.substr(digits - std::min(digits, kInstanceDigits)),
          .address = address,
          .port = port,
          .properties = {{"api_enabled", device.isApiOn ? "1" : "0"},
                         {"path", "/api/v1"},
                         {"serial", device.serial},
                         {"product_name", kProductName},
                         {"product_type", device.productType}}};
}

}  // namespace HomeWizardPages
