#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "src/components/measurementsources/p1record.h"

/// The grammar of telegrams: nothing here logs, waits or takes memory from the heap.
namespace P1 {

/// What is wrong with a telegram; `ToText` says what each means.
enum class EFailure : std::uint8_t {
  None,
  NoStart,
  NoChecksum,
  MalformedChecksum,
  ChecksumMismatch,
  UnterminatedLine,
  UnknownField,
  TrailingCharacters,
  DuplicateField,
  EmptyId,
  IdOver255,
  MissingParenthesis,
  MissingEnd,
  InvalidLength,
  InvalidNumber,
  MissingUnit,
  InvalidUnit,
  ExtraData
};
inline constexpr std::size_t kFailureCount = 18;

/// As log lines say it; empty for none.
std::string_view ToText(EFailure failure);

struct SResult {
  EFailure failure = EFailure::None;
  /// In bytes from the telegram's start: where parsing stopped. Without failure that is behind the checksum.
  std::size_t position = 0;

  bool operator==(const SResult&) const = default;
};

/// What does a telegram with fields that nobody claims.
enum class EUnknownFields { Ignored, AreErrors };

/// Parses from the "/" to the checksum's four characters; what follows them is ignored. The record is cleared
/// first; after a failure it holds what was parsed before.
SResult ParseTelegram(std::span<const std::uint8_t> telegram, EUnknownFields unknownFields, CRecord& record);

}  // namespace P1
