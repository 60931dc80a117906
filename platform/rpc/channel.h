#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/worker/scheduler.h"

namespace Rpc {

/// How a call ended.
enum class EStatus {
  Ok,
  Unreachable,    ///< nobody there, or gone during the call
  Timeout,        ///< there, but no answer in time
  Unimplemented,  ///< the peer has no such method
  Failed          ///< anything else, such as an answer that is no message
};

/// For log lines: "unreachable", "timeout" and so on.
std::string_view ToText(EStatus status);

/// A way to one peer, as a backend offers it: bytes in, bytes out. Any thread.
class IChannel {
 public:
  struct SAnswer {
    EStatus status = EStatus::Failed;
    std::string detail;  ///< the backend's words when the status is not Ok
    std::string bytes;
  };

  /// What a subscription tells; called one at a time, on a thread of the backend.
  struct SSubscriber {
    std::function<void(std::string_view bytes)> notification;
    /// The peer accepted the subscription (true) or it was lost (false). Starts as lost; changes only.
    std::function<void(bool established)> link;
    /// Why an attempt failed or, before `link(false)`, why the subscription was lost; each time.
    std::function<void(EStatus status, const std::string& detail)> failure;
  };

  /// Ends the subscription when destroyed: no callback is running any more then. Not to be destroyed from
  /// one.
  class ISubscription {
   public:
    virtual ~ISubscription() = default;
  };

  virtual ~IChannel() = default;

  /// Calls and waits, never longer than the timeout.
  virtual SAnswer Call(std::string_view path, std::string_view request, Milliseconds timeout) = 0;

  /// Subscribes, and subscribes again by itself whenever the peer comes back, after a pause that grows to a
  /// cap.
  virtual std::unique_ptr<ISubscription> Subscribe(std::string_view path, std::string request,
                                                   SSubscriber subscriber) = 0;
};

}  // namespace Rpc
