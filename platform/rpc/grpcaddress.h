#pragma once

#include <optional>
#include <string>

namespace Rpc {

/// The path of a "unix:" address; none for any other address.
std::optional<std::string> UnixPathOf(const std::string& address);

/// The address as gRPC reads it: it takes unix addresses for URIs, so a path's odd characters are escaped.
std::string ToGrpcAddress(const std::string& address);

}  // namespace Rpc
