#include "platform/rpc/grpcsubscription.h"

#include <utility>

#include <grpc/support/time.h>

#include "platform/rpc/grpcstatus.h"
#include "platform/rpc/grpcwire.h"

namespace Rpc {

CGrpcSubscription::CGrpcSubscription(std::shared_ptr<CGrpcEventLoop> loop,
                                     std::shared_ptr<grpc::Channel> channel, std::string path,
                                     const std::string& request, IChannel::SSubscriber subscriber)
    : mLoop(std::move(loop)),
      mChannel(std::move(channel)),
      mPath(std::move(path)),
      mRequest(ToBuffer(request)),
      mSubscriber(std::move(subscriber)),
      mQueue(mLoop->Queue()) {
  CMutexLock lock(mMutex);
  Attempt();
}

CGrpcSubscription::~CGrpcSubscription() {
  CMutexLock lock(mMutex);
  mEnding = true;
  if (mContext) mContext->TryCancel();
  mAlarm.Cancel();
  while (!mEnded) mChainEnded.wait(lock);
}

void CGrpcSubscription::Attempt() {
  const grpc::internal::RpcMethod method(mPath.c_str(), grpc::internal::RpcMethod::SERVER_STREAMING);
  mStream.reset();
  mContext = std::make_unique<grpc::ClientContext>();
  mContext->set_wait_for_ready(mWaitForPeer);
  mAwaited = EAwaited::Start;
  mStream.reset(grpc::internal::ClientAsyncReaderFactory<grpc::ByteBuffer>::Create(
      mChannel.get(), &mQueue, method, mContext.get(), mRequest, true, Tag()));
}

void CGrpcSubscription::OnEvent(bool ok) {
  const CLogCapture::CScope logScope(mLogContext);
  CMutexLock lock(mMutex);
  switch (mAwaited) {
    case EAwaited::Start:
      if (!ok) return AwaitStatus();
      mAwaited = EAwaited::Acceptance;
      return mStream->ReadInitialMetadata(Tag());
    case EAwaited::Acceptance:
      if (!ok) return AwaitStatus();
      if (IsAccepted()) Establish();
      return AwaitNotification();
    case EAwaited::Notification:
      if (!ok) return AwaitStatus();
      Establish();
      Tell(mSubscriber.notification, CReceivedBytes(mNotification).View());
      return AwaitNotification();
    case EAwaited::Status:
      Lose();
      return Pause();
    case EAwaited::EndOfPause:
      if (!mEnding) return Attempt();
      mEnded = true;
      mChainEnded.notify_all();
  }
}

template <class TCallback, class... TArguments>
void CGrpcSubscription::Tell(const TCallback& callback, const TArguments&... arguments) {
  if (mEnding) return;
  mMutex.unlock();
  callback(arguments...);
  mMutex.lock();
}

bool CGrpcSubscription::IsAccepted() const {
  return mContext->GetServerInitialMetadata().count(kAcceptedKey) != 0;
}

void CGrpcSubscription::Establish() {
  if (std::exchange(mEstablished, true)) return;
  mEstablishedAt = gpr_now(GPR_CLOCK_MONOTONIC);
  Tell(mSubscriber.link, true);
}

void CGrpcSubscription::AwaitNotification() {
  mAwaited = EAwaited::Notification;
  mStream->Read(&mNotification, Tag());
}

void CGrpcSubscription::AwaitStatus() {
  mAwaited = EAwaited::Status;
  mStream->Finish(&mStatus, Tag());
}

void CGrpcSubscription::Lose() {
  // A server that ends a subscription in good order is as far away as one that is gone.
  const EStatus status = mStatus.ok() ? EStatus::Unreachable : ToStatus(mStatus);
  mWaitForPeer = status == EStatus::Unreachable;
  if (status == EStatus::Unimplemented) mBackOff.GoToCap();
  const bool wasEstablished = std::exchange(mEstablished, false);
  if (wasEstablished) {
    const auto lived = gpr_time_sub(gpr_now(GPR_CLOCK_MONOTONIC), mEstablishedAt);
    if (gpr_time_to_millis(lived) >= CBackOff::kCap.count()) mBackOff.Reset();
  }
  Tell(mSubscriber.failure, status,
       mStatus.ok() ? "the peer ended the subscription" : mStatus.error_message());
  if (wasEstablished) Tell(mSubscriber.link, false);
}

void CGrpcSubscription::Pause() {
  mStream.reset();
  mContext.reset();
  mAwaited = EAwaited::EndOfPause;
  const auto pause = mEnding ? Milliseconds{0} : mBackOff.Next();
  mAlarm.Set(&mQueue,
             gpr_time_add(gpr_now(GPR_CLOCK_MONOTONIC), gpr_time_from_millis(pause.count(), GPR_TIMESPAN)),
             Tag());
}

}  // namespace Rpc
