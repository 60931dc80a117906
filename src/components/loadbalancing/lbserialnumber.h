#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// What identifies a station of a group on the wire.
///
/// Of a serial number "dd-dd-xxx-xxx" bytes 0 and 1 are the two pairs of digits as numbers; bytes 2 to 5 are
/// the six letters and digits read as one number to the base 36 (0 to 9, then A to Z, first one most
/// significant), least significant byte first.
using LbSerialNumber = std::array<std::uint8_t, 6>;

inline constexpr std::uint32_t kLbSerialNumberBits = 48;

/// Nothing: the text, in upper case, is no such serial number.
std::optional<LbSerialNumber> ToLbSerialNumber(std::string_view text);
/// "12-34-ABC-DE1"; the bytes in hexadecimal where they are no serial number of a station.
std::string ToText(const LbSerialNumber& serialNumber);

/// Whether the first `bits` bits are alike. Bit i is bit (i mod 8) of byte (i div 8), least significant
/// first; bits beyond the last are 0 in both.
bool HasLbPrefix(const LbSerialNumber& serialNumber, const LbSerialNumber& prefix, std::uint8_t bits);
