#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "platform/utility/crc16.h"

inline std::span<const std::uint8_t> Bytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// The text, which ends with "!", with its checksum.
inline std::string Sealed(std::string text) {
  return text += fmt::format("{:04X}", Crc16(Bytes(text)));
}

/// A telegram of these lines, which are divided by "\r\n"; they begin at byte 6.
inline std::string Telegram(std::string_view lines) {
  return Sealed(fmt::format("/X\r\n\r\n{}\r\n!", lines));
}
