#include "tools/currentcontrolctl/amperes.h"

#include <algorithm>
#include <charconv>

#include "src/limitationsources/limits.h"

namespace {

bool AreDigits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// mA of the digits behind the point.
std::int32_t Fraction(std::string_view digits) {
  std::int32_t milliAmpere = 0;
  for (std::size_t i = 0; i < 3; ++i)
    milliAmpere = milliAmpere * 10 + (i < digits.size() ? digits[i] - '0' : 0);
  return milliAmpere + (digits.size() > 3 && digits[3] >= '5' ? 1 : 0);
}

}  // namespace

std::optional<std::int32_t> ParseAmperes(std::string_view text) {
  const std::size_t point = text.find('.');
  const std::string_view whole = text.substr(0, point);
  const std::string_view fraction = point == std::string_view::npos ? "0" : text.substr(point + 1);
  std::int32_t ampere = 0;
  if (!AreDigits(whole) || !AreDigits(fraction) ||
      std::from_chars(whole.data(), whole.data() + whole.size(), ampere).ec != std::errc() ||
      ampere > kNoLimitAmpere) {
    return std::nullopt;
  }
  const std::int32_t milliAmpere = ampere * kMilliAmperePerAmpere + Fraction(fraction);
  return milliAmpere <= kNoLimitAmpere * kMilliAmperePerAmpere ? std::optional(milliAmpere) : std::nullopt;
}
