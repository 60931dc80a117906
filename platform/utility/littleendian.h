#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/// Numbers as most wires have them: least significant byte first, at any address.
namespace LittleEndian {

inline constexpr std::size_t kSize32 = 4;

constexpr std::uint32_t Read32(std::span<const std::uint8_t, kSize32> bytes) {
  return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8U | std::uint32_t{bytes[2]} << 16U |
         std::uint32_t{bytes[3]} << 24U;
}

constexpr void Write32(std::uint32_t number, std::span<std::uint8_t, kSize32> bytes) {
  for (std::uint8_t& byte : bytes) {
    byte = static_cast<std::uint8_t>(number & 0xFFU);
    number >>= 8U;
  }
}

}  // namespace LittleEndian
