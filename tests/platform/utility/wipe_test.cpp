#include "platform/utility/wipe.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include <gtest/gtest.h>

namespace {

TEST(Wipe, LeavesNothingOfATextInItsMemory) {
  for (const std::size_t length : {5U, 300U}) {  // in the string itself, and on the heap
    std::string text(length, 'x');
    text.resize(2);
    const char* const memory = text.data();
    const std::size_t size = text.capacity();
    Wipe(text);
    EXPECT_TRUE(text.empty());
    ASSERT_EQ(text.data(), memory);
    EXPECT_TRUE(std::all_of(memory, memory + size, [](char byte) { return byte == '\0'; })) << length;
  }
}

TEST(Wipe, ComesAtTheEndOfAScopeThatAnExceptionLeaves) {
  std::array<std::uint8_t, 4> key{1, 2, 3, 4};
  try {
    const CWipeAtEnd wipe(key);
    throw std::runtime_error("gone");
  } catch (const std::runtime_error&) {
  }
  EXPECT_EQ(key, (std::array<std::uint8_t, 4>{}));
}

}  // namespace
