#include "platform/rpc/grpceventloop.h"

#include <utility>

namespace Rpc {

grpc::CompletionQueue& CGrpcEventLoop::Queue() {
  CMutexLock lock(mMutex);
  while (mThreads.size() < kThreads) mThreads.emplace_back([this] { Run(); });
  return mQueue;
}

CGrpcEventLoop::~CGrpcEventLoop() {
  mQueue.Shutdown();
  std::vector<std::thread> threads;
  {
    CMutexLock lock(mMutex);
    threads = std::exchange(mThreads, {});
  }
  for (auto& thread : threads) thread.join();
}

void CGrpcEventLoop::Run() {
  void* handler = nullptr;
  bool ok = false;
  while (mQueue.Next(&handler, &ok)) static_cast<IHandler*>(handler)->OnEvent(ok);
}

}  // namespace Rpc
