#include "platform/rpc/grpcserver.h"

#include <chrono>
#include <system_error>
#include <utility>

#include <grpcpp/resource_quota.h>
#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server_builder.h>

#include "platform/log/log.h"
#include "platform/rpc/communicationhost.h"
#include "platform/rpc/grpcaddress.h"
#include "platform/rpc/grpcwire.h"
#include "platform/rpc/unixsocket.h"

namespace Rpc {

namespace {

/// What all clients of one address together may occupy inside gRPC.
constexpr std::size_t kMemoryQuota = 16 * 1024 * 1024;
/// Answers and ends of subscriptions have this long to reach their clients when the server stops.
constexpr std::chrono::seconds kStopGrace{1};

void Configure(grpc::ServerBuilder& builder, bool isUnixSocket) {
  builder.SetMaxReceiveMessageSize(kLargestMessage);
  builder.SetResourceQuota(grpc::ResourceQuota("rpc").Resize(kMemoryQuota));
  builder.AddChannelArgument(GRPC_ARG_MAX_CONCURRENT_STREAMS, CGrpcServer::kMostCallsOfOneConnection);
  builder.AddChannelArgument(GRPC_ARG_ENABLE_CHANNELZ, 0);
  // Two processes on one port would each get half of the calls.
  builder.AddChannelArgument(GRPC_ARG_ALLOW_REUSEPORT, 0);
  if (!isUnixSocket) {
    builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_TIME_MS, kKeepAliveTimeMs);
    builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_TIMEOUT_MS, kKeepAliveTimeoutMs);
    builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_PERMIT_WITHOUT_CALLS, 1);
    builder.AddChannelArgument(GRPC_ARG_HTTP2_MAX_PINGS_WITHOUT_DATA, 0);
    builder.AddChannelArgument(GRPC_ARG_HTTP2_MIN_RECV_PING_INTERVAL_WITHOUT_DATA_MS, kKeepAliveTimeMs / 2);
  }
}

}  // namespace

CGrpcServer::CGrpcServer(const std::string& address, const std::vector<std::shared_ptr<CService>>& services)
    : mAddress(address), mServices(address, services), mTurns(services.size()) {
  const auto socketPath = UnixPathOf(address);
  if (socketPath) PrepareUnixSocket(*socketPath);
  Open();
  {
    CMutexLock lock(mMutex);
    AwaitCalls();
  }
  AddThreadWhereNeeded();
  if (socketPath) RestrictUnixSocket(*socketPath);
}

void CGrpcServer::Open() {
  grpc::ServerBuilder builder;
  Configure(builder, UnixPathOf(mAddress).has_value());
  int port = 0;
  builder.AddListeningPort(ToGrpcAddress(mAddress), grpc::InsecureServerCredentials(), &port);
  builder.RegisterAsyncGenericService(&mGeneric);
  mQueue = builder.AddCompletionQueue();
  mServer = builder.BuildAndStart();
  if (!mServer || port == 0) {
    throw CStartError("Cannot serve at " + mAddress + ": it is no address of this machine, or is in use");
  }
}

CGrpcServer::~CGrpcServer() {
  EndCalls();
  mServer->Shutdown(std::chrono::system_clock::now() + kStopGrace);
  {
    CMutexLock lock(mMutex);
    while (!mCalls.empty() || !mAwaited.empty()) mCallsChanged.wait(lock);
  }
  mQueue->Shutdown();
  JoinThreads();
}

void CGrpcServer::EndCalls() {
  std::list<std::shared_ptr<CGrpcCall>> calls;
  {
    CMutexLock lock(mMutex);
    mStopping = true;
    calls = mCalls;
  }
  for (const auto& call : calls) call->EndSubscription();
  for (const auto& call : mTurns.Close()) call->Refuse(grpc::StatusCode::UNAVAILABLE, "the service stops");
}

void CGrpcServer::JoinThreads() {
  std::vector<std::thread> threads;
  {
    CMutexLock lock(mMutex);
    threads = std::exchange(mThreads, {});
  }
  for (auto& thread : threads) thread.join();
}

void CGrpcServer::Poll() {
  const CLogCapture::CScope logScope(mLogContext);
  void* event = nullptr;
  bool ok = false;
  while (mQueue->Next(&event, &ok)) {
    const auto& tag = *static_cast<CGrpcCall::STag*>(event);
    if (tag.event == CGrpcCall::EEvent::Arrived) TakeIn(*tag.call);
    tag.call->OnEvent(tag.event, ok);
  }
}

void CGrpcServer::AwaitCalls() {
  while (!mStopping && mAwaited.size() < kAwaitedCalls && mAwaited.size() + mCalls.size() < kMostCalls) {
    mAwaited.push_back(std::make_shared<CGrpcCall>(*this));
    CGrpcCall& call = *mAwaited.back();
    call.position = std::prev(mAwaited.end());
    call.Await(mGeneric, *mQueue);
  }
}

void CGrpcServer::TakeIn(CGrpcCall& call) {
  CMutexLock lock(mMutex);
  mCalls.splice(mCalls.end(), mAwaited, call.position);
  AwaitCalls();
  if (mAwaited.empty()) MakeRoom();
}

void CGrpcServer::MakeRoom() {
  if (mStopping) return;
  if (!std::exchange(mFullTold, true)) {
    LOG_WARNING(
        "Clients of {} keep {} calls open; the oldest whose client does nothing are ended, others wait",
        mAddress, kMostCalls);
  }
  for (const auto& call : mCalls) {
    if (call->Abandon()) return;
  }
}

void CGrpcServer::Forget(CGrpcCall& call) {
  std::list<std::shared_ptr<CGrpcCall>> forgotten;  // destroyed without the lock
  const bool wasSubscription = call.IsSubscription();
  CMutexLock lock(mMutex);
  if (wasSubscription) --mSubscriptions;
  forgotten.splice(forgotten.end(), mCalls, call.position);
  AwaitCalls();
  mCallsChanged.notify_all();
}

bool CGrpcServer::AdmitSubscription() {
  CMutexLock lock(mMutex);
  if (mStopping || mSubscriptions >= kMostSubscriptions) return false;
  ++mSubscriptions;
  return true;
}

void CGrpcServer::Schedule(const std::shared_ptr<CGrpcCall>& call) {
  switch (mTurns.Arrive(call->Service(), call)) {
    case CGrpcHandlerTurns::EVerdict::Wait:
      return;
    case CGrpcHandlerTurns::EVerdict::Refuse:
      if (!mRefusalTold.exchange(true)) {
        LOG_WARNING("Clients of {} call faster than they can be answered; calls are refused", mAddress);
      }
      call->Refuse(grpc::StatusCode::RESOURCE_EXHAUSTED, "too many calls");
      return;
    case CGrpcHandlerTurns::EVerdict::Run:
      break;
  }
  AddThreadWhereNeeded();
  std::optional<CGrpcHandlerTurns::Call> running = call;
  while (running) {
    (*running)->Handle();
    running = mTurns.Leave((*running)->Service());
  }
}

void CGrpcServer::AddThreadWhereNeeded() {
  CMutexLock lock(mMutex);
  if (mThreads.size() > static_cast<std::size_t>(mTurns.Running()) || mThreads.size() == kMostThreads) return;
  try {
    mThreads.emplace_back([this] { Poll(); });
  } catch (const std::system_error& error) {
    LOG_ERROR("No thread for the calls of {}: {}; they wait for each other", mAddress, error.what());
  }
}

void CGrpcServer::WarnOfMissingRequest(const std::string& path) {
  if (mMissingRequestTold.exchange(true)) return;
  LOG_WARNING("A client of {} calls {} without a request, or with one above {} bytes; such calls are ended",
              mAddress, path, kLargestMessage);
}

}  // namespace Rpc
