#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// A group's messages told once more, in the plainest way.
namespace LbModel {

using Bytes = std::vector<std::uint8_t>;

struct SKind {
  std::uint8_t id;
  std::size_t size;  ///< on a network
  bool hasNumber;
  bool advances;
};

inline constexpr std::array<SKind, 9> kKinds{{{0x11, 2, false, false},
                                              {0x22, 11, false, false},
                                              {0x33, 8, true, false},
                                              {0x44, 8, true, true},
                                              {0x55, 10, true, false},
                                              {0x66, 8, true, true},
                                              {0x77, 12, true, false},
                                              {0x88, 13, true, true},
                                              {0x99, 21, true, false}}};

/// Null: there is none.
inline const SKind* KindOf(std::uint8_t id) {
  for (const SKind& kind : kKinds)
    if (kind.id == id) return &kind;
  return nullptr;
}

/// Bit by bit.
inline std::uint8_t ChecksumOf(std::span<const std::uint8_t> bytes) {
  unsigned value = 0;
  for (const std::uint8_t byte : bytes)
    for (int bit = 7; bit >= 0; --bit)
      value = (value << 1U ^ ((value >> 7U ^ static_cast<unsigned>(byte) >> bit) & 1U) * 0x4DU) & 0xFFU;
  return static_cast<std::uint8_t>(value);
}

}  // namespace LbModel
