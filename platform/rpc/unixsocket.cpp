#include "platform/rpc/unixsocket.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/rpc/communicationhost.h"

namespace Rpc {

namespace {

constexpr mode_t kSocketMode = 0660;

[[noreturn]] void Refuse(const std::string& path, const std::string& reason) {
  throw CStartError(fmt::format("Cannot serve at socket {}: {}", path, reason));
}

std::string Reason(int error) {
  return std::generic_category().message(error);
}

sockaddr_un AddressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

/// A socket for one attempt; `connect` or `bind`. Gives 0 or the error.
template <class TOperation>
int Try(TOperation operation, const std::string& path) {
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (socket < 0) return errno;
  const sockaddr_un address = AddressOf(path);
  const void* generic = &address;
  const int error = operation(socket, static_cast<const sockaddr*>(generic), sizeof address) == 0 ? 0 : errno;
  ::close(socket);
  return error;
}

void CreateFolder(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
  if (error) Refuse(path, "its folder cannot be created: " + error.message());
}

void RemoveStale(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    if (errno != ENOENT) Refuse(path, Reason(errno));
    return;
  }
  if (!S_ISSOCK(status.st_mode)) Refuse(path, "something else than a socket is there, which is left alone");
  // Only a refusal proves that nobody listens: a live process with many waiting clients gives EAGAIN.
  if (const int error = Try(::connect, path); error != ECONNREFUSED) {
    Refuse(path, error == 0 || error == EAGAIN ? "it is in use by a running process" : Reason(error));
  }
  if (::unlink(path.c_str()) != 0) Refuse(path, "a stale socket cannot be removed: " + Reason(errno));
}

}  // namespace

void PrepareUnixSocket(const std::string& path) {
  if (path.size() > kLongestSocketPath) {
    Refuse(path, fmt::format("the path has {} characters, a socket's path has at most {}", path.size(),
                             kLongestSocketPath));
  }
  CreateFolder(path);
  RemoveStale(path);
  // gRPC does not tell why it could not bind, so try it here first.
  if (const int error = Try(::bind, path); error != 0) Refuse(path, Reason(error));
  ::unlink(path.c_str());
}

void RestrictUnixSocket(const std::string& path) {
  if (::chmod(path.c_str(), kSocketMode) != 0) Refuse(path, Reason(errno));
}

}  // namespace Rpc
