#pragma once

#include <cstddef>
#include <string_view>

namespace LogDetail {

/// A text of at most Capacity characters that is put together by the compiler.
template <std::size_t Capacity>
struct SFixedText {
  char characters[Capacity] = {};
  std::size_t length = 0;

  constexpr void Append(std::string_view text) {
    for (const char character : text) {
      characters[length++] = character;
    }
  }
  constexpr std::string_view View() const { return {characters, length}; }
};

/// "(path:line) " followed by the format; the path is given without its file ending.
template <std::size_t PathSize, std::size_t FormatSize>
consteval auto WithPosition(const char (&path)[PathSize], unsigned line, const char (&format)[FormatSize]) {
  constexpr std::size_t kLongestLineNumber = 10;
  constexpr std::size_t kPunctuation = 4;
  SFixedText<PathSize + FormatSize + kLongestLineNumber + kPunctuation> text;

  const std::string_view whole(path, PathSize - 1);
  text.Append("(");
  text.Append(whole.substr(0, whole.rfind('.')));
  text.Append(":");
  char digits[kLongestLineNumber] = {};
  std::size_t first = kLongestLineNumber;
  for (unsigned rest = line; rest != 0; rest /= 10) {
    digits[--first] = static_cast<char>('0' + rest % 10);
  }
  text.Append({digits + first, kLongestLineNumber - first});
  text.Append(") ");
  text.Append({format, FormatSize - 1});
  return text;
}

}  // namespace LogDetail
