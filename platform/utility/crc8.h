#pragma once

#include <array>
#include <cstdint>
#include <span>

/// A checksum of 8 bits: initial value 0, most significant bit first, not reflected, nothing done at the end.
class CCrc8 {
 public:
  explicit CCrc8(std::uint8_t polynomial);

  std::uint8_t Of(std::span<const std::uint8_t> data) const;

 private:
  std::array<std::uint8_t, 256> mTable{};
};
