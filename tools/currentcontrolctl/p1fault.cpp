#include "tools/currentcontrolctl/p1fault.h"

#include <algorithm>
#include <charconv>
#include <span>

#include <fmt/format.h>

#include "platform/utility/crc16.h"

namespace {

using P1::EFailure;

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

void ShowLine(SP1Fault& fault, std::string_view recording, std::size_t begin) {
  constexpr std::size_t kBefore = 60;
  constexpr std::size_t kShown = 100;
  const std::size_t from = fault.byte - begin > kBefore ? fault.byte - kBefore : begin;
  const std::string_view rest = recording.substr(from, kShown);
  fault.shownLine = rest.substr(0, rest.find_first_of("\r\n"));
  std::ranges::replace_if(
      fault.shownLine, [](char c) { return c < ' ' || c > '~'; }, '?');
  fault.caret = fault.byte - from;
}

}  // namespace

SP1Fault ExplainP1Fault(std::string_view recording, const SP1Recording::STelegram& telegram,
                        const P1::SResult& result) {
  STextPlace place = telegram.begin;
  place.MoveTo(recording, place.offset + result.position);
  SP1Fault fault{.text = P1::ToText(result.failure),
                 .byte = place.offset,
                 .line = place.line,
                 .column = place.offset - place.lineBegin + 1,
                 .shownLine = {},
                 .caret = 0,
                 .checksum = {},
                 .hint = {}};
  if (place.lineBegin < recording.size()) ShowLine(fault, recording, place.lineBegin);
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
