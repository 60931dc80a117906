#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// What stands there as hexadecimal digits.
inline std::vector<std::uint8_t> BytesOf(std::string_view digits) {
  std::vector<std::uint8_t> bytes;
  for (; digits.size() >= 2; digits.remove_prefix(2))
    bytes.push_back(static_cast<std::uint8_t>(std::stoi(std::string(digits.substr(0, 2)), nullptr, 16)));
  return bytes;
}
