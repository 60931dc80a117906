#include "tools/currentcontrolctl/p1fault.h"

#include <algorithm>
#include <charconv>
#include <span>

#include <fmt/format.h>

#include "platform/utility/crc16.h"

namespace {

using P1::EFailure;

constexpr std::string_view kLineEnds = "\r\n";

std::uint16_t ChecksumOf(std::string_view text) {
  return Crc16(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

std::string_view UpToEnd(std::string_view telegram) {
  return telegram.substr(0, telegram.find('!') + 1);
}

SP1Fault::SChecksum ReadChecksum(std::string_view telegram) {
  const std::string_view counted = UpToEnd(telegram);
  SP1Fault::SChecksum checksum{0, ChecksumOf(counted)};
  const std::string_view digits = telegram.substr(counted.size());
  std::from_chars(digits.data(), digits.data() + digits.size(), checksum.given, 16);
  return checksum;
}

/// Whether the checksum were good if the lines still ended as meters end them.
bool HaveLineEndsChanged(std::string_view telegram, std::uint16_t given) {
  if (telegram.find('\r') != std::string_view::npos) return false;
  std::string repaired;
  for (const char character : UpToEnd(telegram)) {
    if (character == '\n') repaired += '\r';
    repaired += character;
  }
  return ChecksumOf(repaired) == given;
}

/// No telegram has such characters: an eighth bit is the parity of a line with seven.
bool HasParityBits(std::string_view text) {
  return std::ranges::any_of(
      text, [](char character) { return (static_cast<unsigned char>(character) & 0x80U) != 0; });
}

std::string HintFor(const SP1Fault& fault, EFailure failure, std::string_view telegram) {
  const bool hasEnd = telegram.find('!') != std::string_view::npos;
  if (failure <= EFailure::ChecksumMismatch && HasParityBits(telegram))
    return "some bytes have their highest bit set: a line with 7 bits and parity (7E1) that was read as 8N1";
  if (fault.checksum && HaveLineEndsChanged(telegram, fault.checksum->given))
    return "the lines end with LF alone; with CR LF, as meters send them, the checksum would be right";
  switch (failure) {
    case EFailure::NoStart:
      return "a telegram begins with / and the maker's letters";
    case EFailure::NoChecksum:
      return hasEnd ? "meters before DSMR 4 send no checksum: the service cannot use their telegrams"
                    : "the telegram was cut off: it ends with ! and four hexadecimal digits";
    case EFailure::MalformedChecksum:
      return "four hexadecimal digits follow the !; meters before DSMR 4 send none and cannot be used";
    case EFailure::ChecksumMismatch:
      return "a byte was changed, lost or added on the way";
    default:
      return "the checksum is right: the meter itself has sent this";
  }
}

/// Where the line that holds the byte begins.
std::size_t BeginOfLine(std::string_view text, std::size_t byte) {
  const std::size_t end = byte == 0 ? std::string_view::npos : text.find_last_of(kLineEnds, byte - 1);
  return end == std::string_view::npos ? 0 : end + 1;
}

/// A CR LF ends one line, and so does each of the two alone.
std::size_t CountLines(std::string_view text) {
  std::size_t lines = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool isFirstOfTwo = text[at] == '\r' && at + 1 < text.size() && text[at + 1] == '\n';
    if (kLineEnds.find(text[at]) != std::string_view::npos && !isFirstOfTwo) ++lines;
  }
  return lines;
}

void ShowLine(SP1Fault& fault, std::string_view recording, std::size_t begin) {
  constexpr std::size_t kBefore = 60;
  constexpr std::size_t kShown = 100;
  const std::size_t from = fault.byte - begin > kBefore ? fault.byte - kBefore : begin;
  const std::size_t end = std::min(recording.find_first_of(kLineEnds, begin), recording.size());
  fault.shownLine = recording.substr(from, std::min(end - from, kShown));
  std::ranges::replace_if(
      fault.shownLine, [](char c) { return c < ' ' || c > '~'; }, '?');
  fault.caret = fault.byte - from;
}

}  // namespace

SP1Fault ExplainP1Fault(std::string_view recording, const SP1Recording::STelegram& telegram,
                        const P1::SResult& result) {
  const std::size_t byte = telegram.offset + result.position;
  const std::size_t begin = BeginOfLine(recording, byte);
  SP1Fault fault{.text = P1::ToText(result.failure),
                 .byte = byte,
                 .line = CountLines(recording.substr(0, begin)) + 1,
                 .column = byte - begin + 1,
                 .shownLine = {},
                 .caret = 0,
                 .checksum = {},
                 .hint = {}};
  if (begin < recording.size()) ShowLine(fault, recording, begin);
  if (result.failure == EFailure::ChecksumMismatch) fault.checksum = ReadChecksum(telegram.text);
  fault.hint = HintFor(fault, result.failure, telegram.text);
  return fault;
}

std::string FormatP1Fault(const SP1Fault& fault) {
  std::string text =
      fmt::format("{}, at byte {} (line {}, column {})", fault.text, fault.byte, fault.line, fault.column);
  if (fault.checksum) {
    text +=
        fmt::format(": given is {:04X}, computed {:04X}", fault.checksum->given, fault.checksum->computed);
  }
  text += '\n';
  if (!fault.shownLine.empty())
    text += fmt::format("  {}\n  {:>{}}\n", fault.shownLine, '^', fault.caret + 1);
  return text + fmt::format("hint: {}\n", fault.hint);
}

Json::Value P1FaultToJson(const SP1Fault& fault) {
  Json::Value json;
  json["failure"] = std::string(fault.text);
  json["byte"] = Json::UInt64{fault.byte};
  json["line"] = Json::UInt64{fault.line};
  json["column"] = Json::UInt64{fault.column};
  json["hint"] = fault.hint;
  if (fault.checksum) {
    json["given_checksum"] = fmt::format("{:04X}", fault.checksum->given);
    json["computed_checksum"] = fmt::format("{:04X}", fault.checksum->computed);
  }
  return json;
}
