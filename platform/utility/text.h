#pragma once

#include <cstddef>
#include <string>
#include <string_view>

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

}  // namespace Text
