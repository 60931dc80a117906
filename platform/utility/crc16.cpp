#include "platform/utility/crc16.h"

#include <array>
#include <cstddef>

namespace {

constexpr std::uint16_t kPolynomial = 0xA001;
/// Bytes that are looked up at once.
constexpr std::size_t kSlices = 8;

/// The checksum of each byte with as many zeros behind it as the table's number.
using Tables = std::array<std::array<std::uint16_t, 256>, kSlices>;

constexpr std::uint16_t OfByte(std::uint32_t byte) {
  for (int bit = 0; bit < 8; ++bit) byte = (byte & 1U) != 0 ? byte >> 1U ^ kPolynomial : byte >> 1U;
  return static_cast<std::uint16_t>(byte);
}

constexpr Tables MakeTables() {
  Tables tables{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    tables[0][byte] = OfByte(byte);
    for (std::size_t slice = 1; slice < kSlices; ++slice) {
      const std::uint16_t shorter = tables[slice - 1][byte];
      tables[slice][byte] = static_cast<std::uint16_t>(shorter >> 8U ^ OfByte(shorter & 0xFFU));
    }
  }
  return tables;
}

constexpr Tables kTables = MakeTables();

}  // namespace

std::uint16_t Crc16(std::span<const std::uint8_t> data) {
  std::uint32_t crc = 0;
  for (; data.size() >= kSlices; data = data.subspan(kSlices)) {
    const std::uint8_t* const bytes = data.data();
    crc = static_cast<std::uint32_t>(kTables[7][bytes[0] ^ (crc & 0xFFU)] ^ kTables[6][bytes[1] ^ crc >> 8U] ^
                                     kTables[5][bytes[2]] ^ kTables[4][bytes[3]] ^ kTables[3][bytes[4]] ^
                                     kTables[2][bytes[5]] ^ kTables[1][bytes[6]] ^ kTables[0][bytes[7]]);
  }
  for (const std::uint8_t byte : data) crc = crc >> 8U ^ kTables[0][(crc ^ byte) & 0xFFU];
  return static_cast<std::uint16_t>(crc);
}
