#include "platform/rpc/grpcaddress.h"

#include <string_view>

#include <fmt/format.h>

namespace Rpc {

namespace {

constexpr std::string_view kUnixScheme = "unix:";
constexpr std::string_view kUnescaped = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~/";

}  // namespace

std::optional<std::string> UnixPathOf(const std::string& address) {
  if (!address.starts_with(kUnixScheme)) return std::nullopt;
  return address.substr(kUnixScheme.size());
}

std::string ToGrpcAddress(const std::string& address) {
  const auto path = UnixPathOf(address);
  if (!path) return address;
  std::string escaped(kUnixScheme);
  for (const char character : *path) {
    if (kUnescaped.find(character) != std::string_view::npos) {
      escaped += character;
    } else {
      escaped += fmt::format("%{:02X}", static_cast<unsigned char>(character));
    }
  }
  return escaped;
}

}  // namespace Rpc
