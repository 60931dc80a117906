#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/utility/text.h"

/// Hosts and ports as people give them.
namespace HostPort {

/// Characters of a host's name, by the rules of the name system.
inline constexpr std::size_t kLongestHost = 253;

/// 1 to 65535; nothing for any other text.
inline std::optional<std::uint16_t> ToPort(std::string_view text) {
  const auto port = Text::ToNumber<std::uint16_t>(text);
  return port == 0 ? std::nullopt : port;
}

}  // namespace HostPort
