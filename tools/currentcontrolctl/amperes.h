#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

/// "16" or "12.5" as mA, rounded; nothing when the text is no such number or is above kNoLimitAmpere. No
/// sign, no exponent, no unit.
std::optional<std::int32_t> ParseAmperes(std::string_view text);
