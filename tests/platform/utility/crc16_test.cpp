#include "platform/utility/crc16.h"

#include <cstdint>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::vector<std::uint8_t> Counting(std::uint8_t from, std::uint8_t to) {
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(to - from + 1));
  std::iota(bytes.begin(), bytes.end(), from);
  return bytes;
}

// From a calculation bit by bit: lengths below, at and above those that are looked up at once.
TEST(Crc16Test, IsTheOneThatMetersUse) {
  EXPECT_EQ(Crc16({}), 0x0000);
  EXPECT_EQ(Crc16(Counting('A', 'A')), 0x30C0);
  EXPECT_EQ(Crc16(Counting('1', '8')), 0x3C9D);
  EXPECT_EQ(Crc16(Counting('1', '9')), 0xBB3D);
  EXPECT_EQ(Crc16(Counting(0, 255)), 0xBAD3);
}

}  // namespace
