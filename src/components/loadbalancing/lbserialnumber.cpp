#include "src/components/loadbalancing/lbserialnumber.h"

#include <algorithm>
#include <span>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "platform/utility/littleendian.h"

namespace {

constexpr std::string_view kPattern = "dd-dd-xxx-xxx";
constexpr std::string_view kDigits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr auto kBase = static_cast<std::uint32_t>(kDigits.size());
constexpr std::size_t kFirstOfLetters = 2;  // byte
constexpr std::uint32_t kLetters = 6;

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

std::string LettersOf(std::uint32_t number) {
  std::string letters(kLetters, '0');
  for (std::size_t i = kLetters; i > 0; --i) {
    letters[i - 1] = kDigits[number % kBase];
    number /= kBase;
  }
  return letters;
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
  LittleEndian::Write32(letters, std::span(serialNumber).subspan<kFirstOfLetters>());
  return serialNumber;
}

std::string ToText(const LbSerialNumber& serialNumber) {
  const std::string letters =
      LettersOf(LittleEndian::Read32(std::span(serialNumber).subspan<kFirstOfLetters>()));
  const std::string text = fmt::format("{:02}-{:02}-{}-{}", serialNumber[0], serialNumber[1],
                                       letters.substr(0, 3), letters.substr(3));
  return ToLbSerialNumber(text) == serialNumber ? text : fmt::format("{:02x}", fmt::join(serialNumber, ":"));
}

bool HasLbPrefix(const LbSerialNumber& serialNumber, const LbSerialNumber& prefix, std::uint8_t bits) {
  const std::uint32_t compared = std::min<std::uint32_t>(bits, kLbSerialNumberBits);
  for (std::uint32_t bit = 0; bit < compared; ++bit) {
    if (BitOf(serialNumber, bit) != BitOf(prefix, bit)) return false;
  }
  return true;
}
