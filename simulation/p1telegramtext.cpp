#include "simulation/p1telegramtext.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include <fmt/format.h>

#include "platform/utility/crc16.h"

namespace {

/// Whole milliunits as a meter writes them: so many digits in all, the last so many behind the point.
std::string Fixed(std::uint64_t milli, int digits, int decimals) {
  constexpr std::array<std::uint64_t, 4> kSteps{1000, 100, 10, 1};
  const std::uint64_t step = kSteps[static_cast<std::size_t>(decimals)];
  const std::uint64_t rounded = (milli + step / 2) / step;
  const std::uint64_t perUnit = 1000 / step;
  if (decimals == 0) return fmt::format("{:0{}}", rounded, digits);
  return fmt::format("{:0{}}.{:0{}}", rounded / perUnit, digits - decimals, rounded % perUnit, decimals);
}

std::string TimeStamp(Milliseconds sinceBegin) {
  const auto seconds = sinceBegin.count() / 1000;
  return fmt::format("2401{:02}{:02}{:02}{:02}W", 1 + seconds / 86400 % 31, seconds / 3600 % 24,
                     seconds / 60 % 60, seconds % 60);
}

/// What a meter shows of a power: drawn and fed in, of which one is nothing.
struct SDirections {
  std::string drawn;
  std::string fedIn;
};
SDirections Kilowatts(std::int32_t watt) {
  return {Fixed(watt > 0 ? static_cast<std::uint64_t>(watt) : 0, 5, 3),
          Fixed(watt < 0 ? static_cast<std::uint64_t>(-std::int64_t{watt}) : 0, 5, 3)};
}

/// The meter balances over the phases: in total it draws or feeds in.
std::string Body(const CHouseMeter::SView& view) {
  const SDirections total = Kilowatts(view.TotalWatt());
  std::string text = fmt::format(
      "/SIM5\\HOUSE-METER\r\n\r\n1-3:0.2.8(50)\r\n0-0:1.0.0({})\r\n"
      "0-0:96.1.1(53494D3030303030303030303030303031)\r\n"
      "1-0:1.8.1({}*kWh)\r\n1-0:1.8.2(000000.000*kWh)\r\n"
      "1-0:2.8.1({}*kWh)\r\n1-0:2.8.2(000000.000*kWh)\r\n0-0:96.14.0(0001)\r\n"
      "1-0:1.7.0({}*kW)\r\n1-0:2.7.0({}*kW)\r\n0-0:96.7.21(00000)\r\n0-0:96.7.9(00000)\r\n"
      "1-0:99.97.0(0)(0-0:96.7.19)\r\n0-0:96.13.0()\r\n",
      TimeStamp(view.time), Fixed(view.importedWattHours, 9, 3), Fixed(view.exportedWattHours, 9, 3),
      total.drawn, total.fedIn);
  for (std::size_t phase = 0; phase < view.watt.size(); ++phase) {
    const std::size_t group = 20 * (phase + 1);
    const SDirections power = Kilowatts(view.watt[phase]);
    text += fmt::format("1-0:{}.7.0({}*V)\r\n1-0:{}.7.0({}*A)\r\n1-0:{}.7.0({}*kW)\r\n1-0:{}.7.0({}*kW)\r\n",
                        group + 12, Fixed(view.milliVolt[phase], 4, 1), group + 11,
                        Fixed(view.milliAmpere[phase], 3, 0), group + 1, power.drawn, group + 2, power.fedIn);
  }
  return text + "!";
}

}  // namespace

std::string P1TelegramText(const CHouseMeter::SView& view) {
  std::string text = Body(view);
  const std::span bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
  return text += fmt::format("{:04X}\r\n", Crc16(bytes));
}

std::string DamagedP1Telegram(std::string telegram) {
  const std::size_t digit = telegram.find_first_of("0123456789", telegram.size() / 2);
  if (digit != std::string::npos) telegram[digit] = telegram[digit] == '9' ? '8' : '9';
  return telegram;
}

std::string P1TelegramOf(CHouseMeter& meter) {
  switch (meter.Fate()) {
    case CHouseMeter::EFate::Good:
      return P1TelegramText(meter.View());
    case CHouseMeter::EFate::Garbled:
      return DamagedP1Telegram(P1TelegramText(meter.View()));
    case CHouseMeter::EFate::Away:
      break;
  }
  return "";
}
