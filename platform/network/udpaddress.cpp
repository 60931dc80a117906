#include "platform/network/udpaddress.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>

#include "platform/utility/text.h"

std::string ToText(const SUdpAddress& address) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  ::inet_ntop(AF_INET6, address.address.data(), text.data(), text.size());
  return address.scope == 0 ? std::string(text.data()) : fmt::format("{}%{}", text.data(), address.scope);
}

std::optional<SUdpAddress> ParseUdpAddress(const std::string& text, std::uint16_t port) {
  SUdpAddress address;
  address.port = port;
  const auto percent = text.find('%');
  if (percent != std::string::npos) {
    const auto scope = Text::ToNumber<std::uint32_t>(std::string_view(text).substr(percent + 1));
    if (!scope) return std::nullopt;
    address.scope = *scope;
  }
  if (::inet_pton(AF_INET6, text.substr(0, percent).c_str(), address.address.data()) != 1)
    return std::nullopt;
  return address;
}
