#pragma once

#include <cstddef>
#include <string>

#include <sys/un.h>

namespace Rpc {

/// The longest path that a unix socket can have, without the zero behind it.
inline constexpr std::size_t kLongestSocketPath = sizeof(sockaddr_un::sun_path) - 1;

/// Makes sure that a unix socket can be created at the path: creates missing folders and removes the socket
/// of a dead process. Throws CStartError, with the path and the reason, when a live process has it, when it
/// is something else than a socket, is too long or cannot be created.
void PrepareUnixSocket(const std::string& path);

/// Lets the owner and the group of the socket use it, and nobody else. Throws CStartError.
void RestrictUnixSocket(const std::string& path);

}  // namespace Rpc
