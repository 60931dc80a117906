#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

/// Text from files, peers and people.
namespace Text {

/// As many bytes of a text from outside as a log line shows; no more are needed to recognise it.
inline constexpr std::size_t kLongestInLog = 200;

/// Whether log lines may show what a text holds.
enum class EContents { Open, Secret };

/// ASCII letters only, whatever the locale.
constexpr char LowerCaseLetter(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}
std::string ToLowerCase(std::string text);

/// What is longer is cut, and ends with "...".
std::string Shortened(std::string text, std::size_t longest = kLongestInLog);

/// A text from outside as a log line shows it: printable ASCII, anything between it as one blank, shortened.
std::string InOneLine(std::string_view text);

/// A text that is a decimal number from its first character to its last. Nothing: it is none, or one that the
/// type cannot hold.
template <std::unsigned_integral TNumber>
std::optional<TNumber> ToNumber(std::string_view text) {
  TNumber number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

}  // namespace Text
