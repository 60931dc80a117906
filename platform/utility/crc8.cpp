#include "platform/utility/crc8.h"

#include <cstddef>

namespace {

std::uint8_t OfByte(std::uint32_t byte, std::uint8_t polynomial) {
  for (int bit = 0; bit < 8; ++bit) byte = (byte & 0x80U) != 0 ? byte << 1U ^ polynomial : byte << 1U;
  return static_cast<std::uint8_t>(byte);
}

}  // namespace

CCrc8::CCrc8(std::uint8_t polynomial) {
  for (std::size_t byte = 0; byte < mTable.size(); ++byte) {
    mTable[byte] = OfByte(static_cast<std::uint32_t>(byte), polynomial);
  }
}

std::uint8_t CCrc8::Of(std::span<const std::uint8_t> data) const {
  std::uint8_t checksum = 0;
  for (const std::uint8_t byte : data) checksum = mTable[checksum ^ byte];
  return checksum;
}
