#pragma once

#include <atomic>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/server.h>

#include "platform/log/logcapture.h"
#include "platform/rpc/grpcbackend.h"
#include "platform/rpc/grpccall.h"
#include "platform/rpc/grpchandlerturns.h"
#include "platform/rpc/servicetable.h"
#include "platform/utility/mutex.h"

namespace Rpc {

/// Serves one address over gRPC.
///
/// A thread takes an event from gRPC and, when it is a request, runs the handler itself, so that an answer
/// costs no change of threads. There is always one more thread than running handlers; threads are added up to
/// a bound when handlers block. Every queue has a bound: see the constants here, in CGrpcHandlerTurns and in
/// CGrpcCall.
class CGrpcServer final : public GrpcBackend::IServer {
 public:
  static constexpr std::size_t kMostCalls = 128;
  static constexpr int kMostSubscriptions = 64;
  static constexpr int kMostCallsOfOneConnection = 32;

  /// Throws CStartError.
  CGrpcServer(const std::string& address, const std::vector<std::shared_ptr<CService>>& services);
  /// Running handlers end and their answers go out, subscriptions are ended.
  ~CGrpcServer() override;
  CGrpcServer(const CGrpcServer&) = delete;
  CGrpcServer& operator=(const CGrpcServer&) = delete;

  // For the calls.
  CServiceTable& Services() { return mServices; }
  /// Runs the call's handler on this thread or lets it wait for its turn.
  void Schedule(const std::shared_ptr<CGrpcCall>& call);
  bool AdmitSubscription() EXCLUDES(mMutex);
  void Forget(CGrpcCall& call) EXCLUDES(mMutex);
  void WarnOfMissingRequest(const std::string& path);

 private:
  static constexpr std::size_t kMostThreads = CGrpcHandlerTurns::kMostAtATime + 1;
  static constexpr std::size_t kAwaitedCalls = 4;

  void Open();
  void Poll();
  void AddThreadWhereNeeded() EXCLUDES(mMutex);
  void AwaitCalls() REQUIRES(mMutex);
  void TakeIn(CGrpcCall& call) EXCLUDES(mMutex);
  void MakeRoom() REQUIRES(mMutex);
  void EndCalls() EXCLUDES(mMutex);
  void JoinThreads() EXCLUDES(mMutex);

  const std::string mAddress;
  CServiceTable mServices;
  CGrpcHandlerTurns mTurns;
  const std::shared_ptr<CLogCapture::CBuffer> mLogContext = CLogCapture::OfThisThread();
  std::atomic<bool> mMissingRequestTold{false};
  std::atomic<bool> mRefusalTold{false};
  grpc::AsyncGenericService mGeneric;
  std::unique_ptr<grpc::ServerCompletionQueue> mQueue;
  std::unique_ptr<grpc::Server> mServer;

  CMutex mMutex;
  CCondition mCallsChanged;
  std::list<std::shared_ptr<CGrpcCall>> mAwaited GUARDED_BY(mMutex);
  std::list<std::shared_ptr<CGrpcCall>> mCalls GUARDED_BY(mMutex);  // oldest first
  int mSubscriptions GUARDED_BY(mMutex) = 0;
  bool mStopping GUARDED_BY(mMutex) = false;
  bool mFullTold GUARDED_BY(mMutex) = false;
  std::vector<std::thread> mThreads GUARDED_BY(mMutex);
};

}  // namespace Rpc
