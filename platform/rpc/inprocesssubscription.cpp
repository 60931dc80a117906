#include "platform/rpc/inprocesssubscription.h"

#include <utility>

namespace Rpc {

CInProcessSubscription::CInProcessSubscription(CInProcessNetwork& network, std::string address,
                                               std::string path, IChannel::SSubscriber subscriber)
    : mNetwork(network),
      mAddress(std::move(address)),
      mPath(std::move(path)),
      mSubscriber(std::move(subscriber)) {}

void CInProcessSubscription::Start() {
  mNetwork.mWorker.NonBlockingCall([self = shared_from_this()] { self->Attempt(); });
}

void CInProcessSubscription::End() {
  std::shared_ptr<CNotificationHub> hub;
  CCallHandle retry;  // cancelled without the lock, which the call takes
  {
    CMutexLock lock(mMutex);
    mEnded = true;
    hub = std::move(mHub);
    retry = std::move(mRetry);
  }
  if (!hub) return;
  hub->Remove(this);
  mNetwork.Detach(mAddress, this);
}

void CInProcessSubscription::Deliver(const CNotificationHub::Bytes& notification) {
  mNetwork.mWorker.NonBlockingCall([self = shared_from_this(), notification] { self->Take(notification); });
}

void CInProcessSubscription::Attempt() {
  const CLogCapture::CScope logScope(mLogContext);
  CMutexLock lock(mMutex);
  if (mEnded) return;
  auto attachment = mNetwork.Attach(mAddress, mPath, shared_from_this());
  mHub = std::move(attachment.hub);
  if (mHub) {
    mEstablishedAt = mNetwork.mScheduler.Now();
    mSubscriber.link(true);
    return;
  }
  if (attachment.status == EStatus::Unimplemented) mBackOff.GoToCap();
  mSubscriber.failure(attachment.status, attachment.detail);
  RetryLater();
}

void CInProcessSubscription::Lose() {
  const CLogCapture::CScope logScope(mLogContext);
  CMutexLock lock(mMutex);
  if (mEnded || !mHub) return;
  std::exchange(mHub, nullptr)->Remove(this);
  mWithheld.reset();
  if (mNetwork.mScheduler.Now() - mEstablishedAt >= CBackOff::kCap) mBackOff.Reset();
  mSubscriber.failure(EStatus::Unreachable, "the subscription was lost");
  mSubscriber.link(false);
  RetryLater();
}

void CInProcessSubscription::Take(const CNotificationHub::Bytes& notification) {
  const CLogCapture::CScope logScope(mLogContext);
  CMutexLock lock(mMutex);
  if (mEnded || !mHub) return;
  const auto fault = mNetwork.FaultOf(mAddress);
  if (fault == CInProcessNetwork::EFault::Hanging) {
    mWithheld = notification;
  } else {
    mSubscriber.notification(fault == CInProcessNetwork::EFault::Garbage ? kGarbage : *notification);
  }
}

void CInProcessSubscription::DeliverWithheld() {
  CNotificationHub::Bytes withheld;
  {
    CMutexLock lock(mMutex);
    withheld = std::exchange(mWithheld, nullptr);
  }
  if (withheld) Take(withheld);
}

void CInProcessSubscription::RetryLater() {
  mRetry = mNetwork.mWorker.AddCall([self = shared_from_this()] { self->Attempt(); }, mBackOff.Next());
}

}  // namespace Rpc
