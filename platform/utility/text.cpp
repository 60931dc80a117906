#include "platform/utility/text.h"

#include <algorithm>
#include <utility>

namespace Text {

std::string ToLowerCase(std::string text) {
  std::ranges::transform(text, text.begin(), LowerCaseLetter);
  return text;
}

std::string Shortened(std::string text, std::size_t longest) {
  if (text.size() > longest) {
    text.resize(longest);
    text += "...";
  }
  return text;
}

std::string InOneLine(std::string_view text) {
  std::string line;
  for (const char character : text) {
    if (line.size() > kLongestInLog) break;
    if (character > ' ' && character < '\x7f') {
      line += character;
    } else if (!line.empty() && line.back() != ' ') {
      line += ' ';
    }
  }
  if (line.ends_with(' ')) line.pop_back();
  return Shortened(std::move(line));
}

}  // namespace Text
