#pragma once

#include <string_view>

namespace Rpc {

/// A call that is answered once; named by its path on the wire, "/ipc.CurrentControl/SetCurrentLimit".
template <class TRequest, class TResponse>
struct SUnaryMethod {
  std::string_view path;
};

/// A subscription that is answered with notifications until one side ends it.
template <class TRequest, class TNotification>
struct SNotificationMethod {
  std::string_view path;
};

}  // namespace Rpc
