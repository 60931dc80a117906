#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>

/// An IPv6 address, where it holds, and a UDP port there.
struct SUdpAddress {
  std::array<std::uint8_t, 16> address{};
  std::uint32_t scope = 0;  ///< index of the adapter; 0 where the address needs none
  std::uint16_t port = 0;

  friend auto operator<=>(const SUdpAddress&, const SUdpAddress&) = default;
};

/// The address as people write it, with "%" and the scope if there is one, without the port.
std::string ToText(const SUdpAddress& address);
/// Nothing: the text is no IPv6 address, with or without "%" and a number.
std::optional<SUdpAddress> ParseUdpAddress(const std::string& text, std::uint16_t port);
