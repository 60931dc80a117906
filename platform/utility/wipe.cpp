#include "platform/utility/wipe.h"

#include <array>
#include <cstring>

void Wipe(std::span<std::byte> bytes) {
  explicit_bzero(bytes.data(), bytes.size());
}

void Wipe(std::span<std::uint8_t> bytes) {
  Wipe(std::as_writable_bytes(bytes));
}

void Wipe(std::string& text) {
  text.resize(text.capacity());
  Wipe(std::as_writable_bytes(std::span(text.data(), text.size())));
  text.clear();
}

[[gnu::noinline]] void WipeStack() {
  std::array<std::byte, 8192> left;
  Wipe(left);
}
