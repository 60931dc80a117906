#include "platform/koconfig/secrettext.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <system_error>

#include "platform/utility/wipe.h"

namespace KoConfig::SecretText {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
/// A shorter text would stand in the string object itself, and be copied when that is moved.
constexpr std::size_t kSurelyOnTheHeap = 64;

/// Where the string that begins at a quote has its closing one; the text's end when it has none.
std::size_t ClosingQuote(std::string_view text, std::size_t begin) {
  std::size_t position = begin + 1;
  while (position < text.size() && text[position] != '"') position += text[position] == '\\' ? 2U : 1U;
  return std::min(position, text.size());
}

/// Behind the comment that begins here; here where none does, or one without an end.
std::size_t EndOfComment(std::string_view text, std::size_t begin) {
  const std::string_view rest = text.substr(begin);
  if (!rest.starts_with("//") && !rest.starts_with("/*")) return begin;
  const bool isLine = rest[1] == '/';
  const std::size_t found = rest.find(isLine ? "\n" : "*/", 2);
  if (found != std::string_view::npos) return begin + found + (isLine ? 1 : 2);
  return isLine ? text.size() : begin;
}

/// Whether what ended here is a member's name.
bool IsKeyBefore(std::string_view text, std::size_t position) {
  std::size_t next = position;
  do {
    position = next;
    next = std::min(text.find_first_not_of(" \t\r\n", position), text.size());
    next = EndOfComment(text, next);
  } while (next != position);
  return position < text.size() && text[position] == ':';
}

/// Line ends stay, for the lines that a parser counts.
void Blot(std::string& text, std::size_t begin, std::size_t end, char blot) {
  for (std::size_t i = begin; i < end; ++i) {
    if (text[i] != '\n' && text[i] != '\r') text[i] = blot;
  }
}

void AppendUtf8(std::string& result, std::uint32_t codePoint) {
  const auto append = [&](std::uint32_t bits) { result += static_cast<char>(bits); };
  const auto following = [&](int shift) { append(0x80U | ((codePoint >> shift) & 0x3FU)); };
  if (codePoint < 0x80) return append(codePoint);
  if (codePoint < 0x800) {
    append(0xC0U | (codePoint >> 6U));
    return following(0);
  }
  if (codePoint < 0x10000) {
    append(0xE0U | (codePoint >> 12U));
  } else {
    append(0xF0U | (codePoint >> 18U));
    following(12);
  }
  following(6);
  following(0);
}

/// Takes the digits of "\uXXXX" from the text.
std::optional<std::uint32_t> TakeFourDigits(std::string_view& text) {
  constexpr std::size_t kDigits = 4;
  if (text.size() < kDigits) return std::nullopt;
  std::uint32_t number = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + kDigits, number, 16);
  if (error != std::errc() || stop != text.data() + kDigits) return std::nullopt;
  text.remove_prefix(kDigits);
  return number;
}

/// Takes what follows "\u"; beyond 16 bits there is a pair, "\uD83D\uDD11".
std::optional<std::uint32_t> TakeCodePoint(std::string_view& text) {
  const auto high = TakeFourDigits(text);
  if (!high || *high < 0xD800 || *high > 0xDBFF) return high;
  if (!text.starts_with("\\u")) return std::nullopt;
  text.remove_prefix(2);
  const auto low = TakeFourDigits(text);
  if (!low || *low < 0xDC00 || *low > 0xDFFF) return std::nullopt;
  return 0x10000 + ((*high & 0x3FFU) << 10U) + (*low & 0x3FFU);
}

/// Takes what follows a backslash.
bool AppendEscaped(std::string& result, std::string_view& text) {
  constexpr std::string_view kLetters = "\"\\/bfnrt";
  constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
  if (text.empty()) return false;
  const char letter = text.front();
  text.remove_prefix(1);
  if (letter == 'u') {
    const auto codePoint = TakeCodePoint(text);
    if (codePoint) AppendUtf8(result, *codePoint);
    return codePoint.has_value();
  }
  const std::size_t found = kLetters.find(letter);
  if (found == std::string_view::npos) return false;
  result += kMeanings[found];
  return true;
}

}  // namespace

std::string Blotted(std::string_view text) {
  std::string blotted(text);
  std::size_t position = 0;
  if (text.starts_with(kByteOrderMark)) {  // whose parser counts from behind it
    position = kByteOrderMark.size();
    Blot(blotted, 0, position, ' ');
  }
  while (position < text.size()) {
    const std::size_t afterComment = EndOfComment(text, position);
    if (afterComment != position) {
      Blot(blotted, position, afterComment, ' ');
      position = afterComment;
    } else if (text[position] == '"') {
      const std::size_t closing = ClosingQuote(text, position);
      const std::size_t end = std::min(closing + 1, text.size());
      if (!IsKeyBefore(text, end)) Blot(blotted, position + 1, closing, '*');
      position = end;
    } else {
      ++position;
    }
  }
  return blotted;
}

bool Decode(std::string_view literal, std::string& result) {
  result.clear();
  if (literal.size() < 2 || literal.front() != '"' || literal.back() != '"') return false;
  literal = literal.substr(1, literal.size() - 2);
  result.reserve(std::max(literal.size(), kSurelyOnTheHeap));  // what it says is never longer
  while (!literal.empty()) {
    const char letter = literal.front();
    literal.remove_prefix(1);
    if (letter != '\\') {
      result += letter;
    } else if (!AppendEscaped(result, literal)) {
      Wipe(result);
      return false;
    }
  }
  return true;
}

}  // namespace KoConfig::SecretText
