#include "platform/utility/crc16.h"

#include <gtest/gtest.h>

#include "support/p1text.h"

// From a calculation bit by bit: lengths below, at and above those that are looked up at once.
TEST(Crc16Test, IsTheOneThatMetersUse) {
  EXPECT_EQ(Crc16(Bytes("")), 0x0000);
  EXPECT_EQ(Crc16(Bytes("A")), 0x30C0);
  EXPECT_EQ(Crc16(Bytes("12345678")), 0x3C9D);
  EXPECT_EQ(Crc16(Bytes("123456789")), 0xBB3D);
}
