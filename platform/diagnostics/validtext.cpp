#include "platform/diagnostics/validtext.h"

#include <cstddef>

namespace {

std::size_t LengthByLead(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  if (lead < 0xE0) return 2;
  return lead < 0xF0 ? 3 : 4;
}

// Some second bytes would make a needlessly long form, a surrogate or a number beyond the last character.
bool IsSecondByteAllowed(unsigned char lead, unsigned char second) {
  switch (lead) {
    case 0xE0:
      return second >= 0xA0;
    case 0xED:
      return second < 0xA0;
    case 0xF0:
      return second >= 0x90;
    case 0xF4:
      return second < 0x90;
    default:
      return true;
  }
}

/// The length of the character in front, or zero when there is none.
std::size_t LengthOfCharacter(std::string_view text) {
  const auto byte = [text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  const std::size_t length = LengthByLead(byte(0));
  if (length > text.size()) return 0;
  for (std::size_t index = 1; index < length; ++index) {
    if ((byte(index) & 0xC0) != 0x80) return 0;
  }
  return length < 2 || IsSecondByteAllowed(byte(0), byte(1)) ? length : 0;
}

}  // namespace

std::string ValidText(std::string_view text) {
  std::string valid;
  valid.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = LengthOfCharacter(text);
    valid += length == 0 ? std::string_view("?") : text.substr(0, length);
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return valid;
}
