#include "simulation/p1telegramtext.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "platform/utility/crc16.h"

namespace {

/// Writes telegrams: one per second for days, so numbers are written without looking at a format.
class CTelegram {
 public:
  CTelegram() { mText.reserve(1024); }

  CTelegram& operator<<(std::string_view text) {
    mText += text;
    return *this;
  }

  /// With zeros in front, if it has fewer digits.
  CTelegram& Digits(std::uint64_t value, std::size_t digits) {
    std::array<char, std::numeric_limits<std::uint64_t>::digits10 + 1> buffer{};
    const char* const end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
    const auto size = static_cast<std::size_t>(end - buffer.data());
    if (size < digits) mText.append(digits - size, '0');
    mText.append(buffer.data(), size);
    return *this;
  }

  /// Whole milliunits as a meter writes them: so many digits in all, the last so many behind the point.
  CTelegram& Fixed(std::uint64_t milli, std::size_t digits, std::size_t decimals) {
    constexpr std::array<std::uint64_t, 4> kSteps{1000, 100, 10, 1};
    const std::uint64_t step = kSteps[decimals];
    const std::uint64_t rounded = (milli + step / 2) / step;
    if (decimals == 0) return Digits(rounded, digits);
    const std::uint64_t perUnit = 1000 / step;
    return (Digits(rounded / perUnit, digits - decimals) << ".").Digits(rounded % perUnit, decimals);
  }

  /// A power that is drawn, or, negated, one that is fed in; nothing when it flows the other way.
  CTelegram& Kilowatts(std::int64_t watt) {
    return Fixed(watt > 0 ? static_cast<std::uint64_t>(watt) : 0, 5, 3);
  }

  std::string Take() { return std::move(mText); }

 private:
  std::string mText;
};

void WriteTime(CTelegram& telegram, Milliseconds sinceBegin) {
  const auto seconds = static_cast<std::uint64_t>(sinceBegin.count() / 1000);
  telegram << "2401";
  telegram.Digits(1 + seconds / 86400 % 31, 2).Digits(seconds / 3600 % 24, 2);
  telegram.Digits(seconds / 60 % 60, 2).Digits(seconds % 60, 2) << "W";
}

void WritePhase(CTelegram& telegram, const CHouseMeter::SView& view, std::size_t phase) {
  const std::int64_t watt = view.watt[phase];
  const std::size_t group = 20 * (phase + 1);
  const auto begin = [&telegram](std::size_t field) { (telegram << "1-0:").Digits(field, 2) << ".7.0("; };
  begin(group + 12);
  telegram.Fixed(view.milliVolt[phase], 4, 1) << "*V)\r\n";
  begin(group + 11);
  telegram.Fixed(view.milliAmpere[phase], 3, 0) << "*A)\r\n";
  begin(group + 1);
  telegram.Kilowatts(watt) << "*kW)\r\n";
  begin(group + 2);
  telegram.Kilowatts(-watt) << "*kW)\r\n";
}

/// The meter balances over the phases: in total it draws or feeds in.
std::string Body(const CHouseMeter::SView& view) {
  const std::int64_t total = view.TotalWatt();
  CTelegram telegram;
  telegram << "/SIM5\\HOUSE-METER\r\n\r\n1-3:0.2.8(50)\r\n0-0:1.0.0(";
  WriteTime(telegram, view.time);
  telegram << ")\r\n0-0:96.1.1(53494D3030303030303030303030303031)\r\n1-0:1.8.1(";
  telegram.Fixed(view.importedWattHours, 9, 3) << "*kWh)\r\n1-0:1.8.2(000000.000*kWh)\r\n1-0:2.8.1(";
  telegram.Fixed(view.exportedWattHours, 9, 3)
      << "*kWh)\r\n1-0:2.8.2(000000.000*kWh)\r\n0-0:96.14.0(0001)\r\n1-0:1.7.0(";
  telegram.Kilowatts(total) << "*kW)\r\n1-0:2.7.0(";
  telegram.Kilowatts(-total) << "*kW)\r\n0-0:96.7.21(00000)\r\n0-0:96.7.9(00000)\r\n1-0:99.97.0(0)(0-0:96.7."
                                "19)\r\n0-0:96.13.0()\r\n";
  for (std::size_t phase = 0; phase < view.watt.size(); ++phase) WritePhase(telegram, view, phase);
  telegram << "!";
  return telegram.Take();
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
