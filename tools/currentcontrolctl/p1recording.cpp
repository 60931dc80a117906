#include "tools/currentcontrolctl/p1recording.h"

#include <algorithm>

namespace {

/// Of what stands behind the "/": a telegram ends behind its checksum, and at the latest where the next
/// begins.
std::size_t LengthOf(std::string_view text) {
  constexpr std::size_t kEndAndChecksum = 5;
  const std::size_t next = std::min(text.find('/', 1), text.size());
  const std::size_t end = text.substr(0, next).find('!');
  return end == std::string_view::npos ? next : std::min(end + kEndAndChecksum, next);
}

}  // namespace

void STextPlace::MoveTo(std::string_view text, std::size_t there) {
  for (; offset < there; ++offset) {
    const bool isFirstOfTwo = text.substr(offset, 2) == "\r\n";
    if ((text[offset] != '\r' && text[offset] != '\n') || isFirstOfTwo) continue;
    ++line;
    lineBegin = offset + 1;
  }
}

SP1Recording CutP1Recording(std::string_view text) {
  SP1Recording recording;
  STextPlace place;
  for (std::size_t at = 0; at < text.size();) {
    if (text[at] == '/') {
      place.MoveTo(text, at);
      recording.telegrams.push_back({place, text.substr(at, LengthOf(text.substr(at)))});
      at += recording.telegrams.back().text.size();
    } else {
      if (text[at] != '\r' && text[at] != '\n') ++recording.between;
      ++at;
    }
  }
  if (recording.telegrams.empty()) return {.telegrams = {{{}, text}}, .between = 0};
  return recording;
}
