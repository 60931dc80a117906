#include "src/components/measurementsources/p1telegram.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <limits>
#include <tuple>
#include <utility>

#include "platform/utility/crc16.h"

namespace P1 {
namespace {

constexpr char kStart = '/';
constexpr char kEnd = '!';
constexpr std::size_t kChecksumLength = 4;
constexpr int kDecimals = 3;
constexpr std::uint8_t kBase = 10;

constexpr std::array<std::string_view, kFailureCount> kFailureTexts{"",
                                                                    "Data should start with /",
                                                                    "No checksum found",
                                                                    "Incomplete or malformed checksum",
                                                                    "Checksum mismatch",
                                                                    "Last dataline not CRLF terminated",
                                                                    "Unknown field",
                                                                    "Trailing characters on data line",
                                                                    "Duplicate field",
                                                                    "OBIS id Empty",
                                                                    "Obis ID has number over 255",
                                                                    "Missing (",
                                                                    "Missing",
                                                                    "Invalid string length",
                                                                    "Invalid number",
                                                                    "Missing unit",
                                                                    "Invalid unit",
                                                                    "Extra data"};

/// What is left to parse of a line. Parsers move it on, and leave it where they stopped.
struct SCursor {
  const char* at;
  const char* end;

  bool IsAt(char character) const { return at != end && *at == character; }
  bool Skip(char character) {
    if (!IsAt(character)) return false;
    ++at;
    return true;
  }
};

constexpr bool IsDigit(char character) {
  return character >= '0' && character <= '9';
}

/// Identifiers as numbers, which are compared at once.
constexpr std::uint64_t Key(const ObisId& id) {
  std::uint64_t key = 0;
  for (const std::uint8_t group : id) key = key << 8U | group;
  return key;
}
constexpr auto kKeys = [] {
  std::array<std::uint64_t, kFieldCount> keys{};
  std::ranges::transform(kFields, keys.begin(), Key, &SField::id);
  return keys;
}();

EFailure ParseObisId(SCursor& cursor, std::uint64_t& key) {
  /// What ends each group; the last one ends where the identifier does.
  constexpr std::string_view separators = "-:...";
  const char* const start = cursor.at;
  std::size_t group = 0;
  std::uint32_t number = 0;
  key = 0;
  for (; cursor.at != cursor.end; ++cursor.at) {
    if (IsDigit(*cursor.at)) {
      number = number * kBase + static_cast<std::uint32_t>(*cursor.at - '0');
      if (number > std::numeric_limits<std::uint8_t>::max()) return EFailure::IdOver255;
    } else if (group < separators.size() && *cursor.at == separators[group]) {
      key = key << 8U | std::exchange(number, 0);
      ++group;
    } else {
      break;
    }
  }
  if (cursor.at == start) return EFailure::EmptyId;
  key = key << 8U | number;
  while (++group < std::tuple_size_v<ObisId>) key = key << 8U | kNotWritten;
  return EFailure::None;
}

EFailure ParseVersion(SCursor& cursor, CRecord& record) {
  if (!cursor.Skip('(')) return EFailure::MissingParenthesis;
  const char* const start = cursor.at;
  cursor.at = std::find(start, cursor.end, ')');
  if (cursor.at == cursor.end) return EFailure::MissingEnd;
  const std::string_view version(start, static_cast<std::size_t>(cursor.at - start));
  if (version.size() != CRecord::kVersionLength) return EFailure::InvalidLength;
  ++cursor.at;
  record.SetVersion(version);
  return EFailure::None;
}

/// Where it appends a digit, the number stays within 32 bits or parsing ends.
class CNumber {
 public:
  bool Append(int digit) {
    mValue = mValue * kBase + digit;
    return mValue <= std::numeric_limits<std::int32_t>::max();
  }
  std::int32_t Value() const { return static_cast<std::int32_t>(mValue); }

 private:
  std::int64_t mValue = 0;
};

enum class EPoint { EndsDigits, IsNoDigit };

/// Digits, up to `most` of them, up to what follows a number.
EFailure ParseDigits(SCursor& cursor, EPoint point, int most, CNumber& number, int& count) {
  for (count = 0; count < most && cursor.at != cursor.end; ++count, ++cursor.at) {
    const char character = *cursor.at;
    if (!IsDigit(character)) {
      const bool isEnd =
          character == '*' || character == ')' || (character == '.' && point == EPoint::EndsDigits);
      return isEnd ? EFailure::None : EFailure::InvalidNumber;
    }
    if (!number.Append(character - '0')) return EFailure::InvalidNumber;
  }
  return EFailure::None;
}

EFailure ParseThousandths(SCursor& cursor, std::int32_t& thousandths) {
  CNumber number;
  int count = 0;
  EFailure failure = ParseDigits(cursor, EPoint::EndsDigits, std::numeric_limits<int>::max(), number, count);
  if (failure != EFailure::None) return failure;
  count = 0;
  if (cursor.Skip('.')) failure = ParseDigits(cursor, EPoint::IsNoDigit, kDecimals, number, count);
  for (; failure == EFailure::None && count < kDecimals; ++count) {
    if (!number.Append(0)) failure = EFailure::InvalidNumber;
  }
  thousandths = number.Value();
  return failure;
}

EFailure ParseUnit(SCursor& cursor, std::string_view unit) {
  if (!cursor.Skip('*')) return EFailure::MissingUnit;
  for (const char character : unit) {
    if (!cursor.Skip(character)) return EFailure::InvalidUnit;
  }
  return EFailure::None;
}

EFailure ParseNumber(SCursor& cursor, EField field, std::string_view unit, CRecord& record) {
  if (!cursor.Skip('(')) return EFailure::MissingParenthesis;
  std::int32_t thousandths = 0;
  EFailure failure = ParseThousandths(cursor, thousandths);
  if (failure == EFailure::None) failure = ParseUnit(cursor, unit);
  if (failure != EFailure::None) return failure;
  if (!cursor.Skip(')')) return EFailure::ExtraData;
  record.SetThousandths(field, thousandths);
  return EFailure::None;
}

EFailure ParseDataLine(SCursor& cursor, EUnknownFields unknownFields, CRecord& record) {
  std::uint64_t key = 0;
  if (const EFailure failure = ParseObisId(cursor, key); failure != EFailure::None) return failure;
  const auto* known = std::ranges::find(kKeys, key);
  if (known == kKeys.end()) {
    return unknownFields == EUnknownFields::AreErrors ? EFailure::UnknownField : EFailure::None;
  }
  const auto index = static_cast<std::size_t>(known - kKeys.begin());
  const auto field = static_cast<EField>(index);
  if (record.Has(field)) return EFailure::DuplicateField;
  const EUnit unit = kFields[index].unit;
  const EFailure failure =
      unit == EUnit::None ? ParseVersion(cursor, record) : ParseNumber(cursor, field, ToText(unit), record);
  if (failure != EFailure::None) return failure;
  return cursor.at == cursor.end ? EFailure::None : EFailure::TrailingCharacters;
}

constexpr bool EndsLine(char character) {
  return character == '\r' || character == '\n';
}

/// Most of a telegram is passed over in search of line ends, so eight characters are looked at together.
const char* EndOfLine(const char* at, const char* end) {
  constexpr std::uint64_t kEach = 0x0101010101010101;
  constexpr std::uint64_t kAboveLineEnds = '\r' + 1;
  for (std::uint64_t eight = 0; end - at >= std::ptrdiff_t{sizeof eight}; at += sizeof eight) {
    std::memcpy(&eight, at, sizeof eight);
    if (((eight - kEach * kAboveLineEnds) & ~eight & kEach << 7U) != 0) break;  // one of them is below
  }
  return std::find_if(at, end, EndsLine);
}

/// Moves the cursor on to the end, or to where parsing stopped.
EFailure ParseLines(SCursor& cursor, EUnknownFields unknownFields, CRecord& record) {
  bool isHeader = true;
  while (cursor.at != cursor.end) {
    SCursor line{cursor.at, EndOfLine(cursor.at, cursor.end)};
    cursor.at = line.end;
    if (line.end == cursor.end) return EFailure::UnterminatedLine;
    if (!std::exchange(isHeader, false) && line.at != line.end) {
      const EFailure failure = ParseDataLine(line, unknownFields, record);
      if (failure != EFailure::None) {
        cursor.at = line.at;
        return failure;
      }
    }
    ++cursor.at;
  }
  return EFailure::None;
}

}  // namespace

std::string_view ToText(EFailure failure) {
  return kFailureTexts[static_cast<std::size_t>(failure)];
}

SResult ParseTelegram(std::span<const std::uint8_t> telegram, EUnknownFields unknownFields, CRecord& record) {
  record.Clear();
  const std::string_view text(reinterpret_cast<const char*>(telegram.data()), telegram.size());
  if (!text.starts_with(kStart)) return {EFailure::NoStart, 0};
  const std::size_t end = text.find(kEnd);
  if (end == std::string_view::npos) return {EFailure::NoChecksum, text.size()};
  const std::size_t checksum = end + 1;
  if (text.size() - checksum < kChecksumLength) return {EFailure::NoChecksum, text.size()};

  std::uint16_t expected = 0;
  const char* const last = text.data() + checksum + kChecksumLength;
  const char* const stopped = std::from_chars(text.data() + checksum, last, expected, 16).ptr;
  const auto position = [&text](const char* at) { return static_cast<std::size_t>(at - text.data()); };
  if (stopped != last) return {EFailure::MalformedChecksum, position(stopped)};
  if (Crc16(telegram.first(checksum)) != expected) return {EFailure::ChecksumMismatch, checksum};

  SCursor cursor{text.data() + 1, text.data() + end};
  const EFailure failure = ParseLines(cursor, unknownFields, record);
  return {failure, failure == EFailure::None ? position(last) : position(cursor.at)};
}

}  // namespace P1
