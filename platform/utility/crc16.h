#pragma once

#include <cstdint>
#include <span>

/// The checksum CRC-16/ARC: reflected polynomial 0xA001, initial value 0, nothing done at the end. Of the
/// text "123456789" it is 0xBB3D.
std::uint16_t Crc16(std::span<const std::uint8_t> data);
