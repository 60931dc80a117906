#include "simulation/serialnumbertext.h"

#include <cstddef>
#include <cstdint>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace {

constexpr std::string_view kDigits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::size_t kLetters = 6;
constexpr std::size_t kFirstByte = 2;  // of the letters' number
constexpr std::uint32_t kBitsOfByte = 8;

}  // namespace

std::string ToText(const LbSerialNumber& serialNumber) {
  std::uint32_t number = 0;
  for (std::size_t i = serialNumber.size(); i > kFirstByte; --i)
    number = number << kBitsOfByte | serialNumber[i - 1];
  std::string letters(kLetters, '0');
  for (std::size_t i = kLetters; i > 0; --i) {
    letters[i - 1] = kDigits[number % kDigits.size()];
    number /= static_cast<std::uint32_t>(kDigits.size());
  }
  const std::string text = fmt::format("{:02}-{:02}-{}-{}", serialNumber[0], serialNumber[1],
                                       letters.substr(0, 3), letters.substr(3));
  return ToLbSerialNumber(text) == serialNumber ? text : fmt::format("{:02x}", fmt::join(serialNumber, ":"));
}
