#pragma once

#include <thread>
#include <vector>

#include <grpcpp/completion_queue.h>

#include "platform/utility/mutex.h"

namespace Rpc {

/// The threads on which subscriptions live. Two, so that one callback that has to wait for a peer does not
/// hold up all others. They start with the first subscription. Any thread.
class CGrpcEventLoop {
 public:
  /// Something that waits for one event at a time.
  class IHandler {
   public:
    virtual ~IHandler() = default;
    virtual void OnEvent(bool ok) = 0;
  };

  CGrpcEventLoop() = default;
  /// Every handler has had its last event by then. Not from a handler.
  ~CGrpcEventLoop();
  CGrpcEventLoop(const CGrpcEventLoop&) = delete;
  CGrpcEventLoop& operator=(const CGrpcEventLoop&) = delete;

  /// Where handlers, as tags of type IHandler*, wait for events.
  grpc::CompletionQueue& Queue() EXCLUDES(mMutex);

 private:
  static constexpr std::size_t kThreads = 2;
  void Run();

  grpc::CompletionQueue mQueue;
  CMutex mMutex;
  std::vector<std::thread> mThreads GUARDED_BY(mMutex);
};

}  // namespace Rpc
