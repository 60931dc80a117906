#include "src/components/loadbalancing/lbserialnumber.h"

#include <algorithm>
#include <span>

#include "platform/utility/littleendian.h"

namespace {

constexpr std::string_view kPattern = "dd-dd-xxx-xxx";
constexpr std::uint32_t kBase = 36;

/// 0 to 35; `kBase` and more: none of them.
std::uint32_t DigitOf(char letter) {
  if (letter >= '0' && letter <= '9') return static_cast<std::uint32_t>(letter - '0');
  if (letter >= 'A' && letter <= 'Z') return static_cast<std::uint32_t>(letter - 'A' + 10);
  return kBase;
}

bool Fits(char letter, char pattern) {
  if (pattern == '-') return letter == '-';
  return DigitOf(letter) < (pattern == 'd' ? 10 : kBase);
}

std::uint32_t NumberOf(std::string_view digits, std::uint32_t base) {
  std::uint32_t number = 0;
  for (const char digit : digits) number = number * base + DigitOf(digit);
  return number;
}

bool BitOf(const LbSerialNumber& serialNumber, std::size_t bit) {
  return (std::uint32_t{serialNumber[bit / 8]} >> bit % 8 & 1U) != 0;
}

}  // namespace

std::optional<LbSerialNumber> ToLbSerialNumber(std::string_view text) {
  if (!std::ranges::equal(text, kPattern, Fits)) return std::nullopt;
  LbSerialNumber serialNumber{static_cast<std::uint8_t>(NumberOf(text.substr(0, 2), 10)),
                              static_cast<std::uint8_t>(NumberOf(text.substr(3, 2), 10))};
  const std::uint32_t letters =
      NumberOf(text.substr(6, 3), kBase) * (kBase * kBase * kBase) + NumberOf(text.substr(10, 3), kBase);
  LittleEndian::Write32(letters, std::span(serialNumber).subspan<2>());
  return serialNumber;
}

bool HasLbPrefix(const LbSerialNumber& serialNumber, const LbSerialNumber& prefix, std::uint8_t bits) {
  const std::uint32_t compared = std::min<std::uint32_t>(bits, kLbSerialNumberBits);
  for (std::uint32_t bit = 0; bit < compared; ++bit) {
    if (BitOf(serialNumber, bit) != BitOf(prefix, bit)) return false;
  }
  return true;
}
