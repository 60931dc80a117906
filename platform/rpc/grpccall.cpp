#include "platform/rpc/grpccall.h"

#include <utility>

#include "platform/log/log.h"
#include "platform/rpc/grpcserver.h"
#include "platform/rpc/grpcwire.h"

namespace Rpc {

void CGrpcCall::Await(grpc::AsyncGenericService& service, grpc::ServerCompletionQueue& queue) {
  CMutexLock lock(mMutex);
  mContext.AsyncNotifyWhenDone(&mDone);
  service.RequestCall(&mContext, &mStream, &queue, &queue, Begin(mArrived));
}

void* CGrpcCall::Begin(STag& tag) {
  ++mPending;
  return &tag;
}

void CGrpcCall::OnEvent(EEvent event, bool ok) {
  switch (event) {
    case EEvent::Arrived:
      if (ok) OnArrived();
      break;
    case EEvent::Read:
      OnRead(ok);
      break;
    case EEvent::Written:
      OnWritten(ok);
      break;
    case EEvent::Finished:
      break;
    case EEvent::Done:
      OnDone();
      break;
  }
  EndStep();
}

void CGrpcCall::EndStep() {
  bool isOver = false;
  {
    CMutexLock lock(mMutex);
    isOver = --mPending == 0;
  }
  if (isOver) mServer.Forget(*this);
}

void CGrpcCall::OnArrived() {
  auto method = mServer.Services().Find(mContext.method());
  CMutexLock lock(mMutex);
  mMethod = std::move(method);
  ++mPending;  // for Done, which comes for every call that has arrived
  if (!mMethod.IsKnown()) {
    Finish({grpc::StatusCode::UNIMPLEMENTED, "no such method"});
    return;
  }
  mState = EState::Reading;
  mStream.Read(&mRequest, Begin(mRead));
}

void CGrpcCall::OnRead(bool ok) {
  if (!ok) {
    CMutexLock lock(mMutex);
    if (!mAbandoned) mServer.WarnOfMissingRequest(mContext.method());
    Finish({grpc::StatusCode::INVALID_ARGUMENT, "no request"});
  } else if (Method().handler != nullptr) {
    TakeTurn();
    mServer.Schedule(shared_from_this());
  } else if (mServer.AdmitSubscription()) {
    Subscribe();
  } else {
    CMutexLock lock(mMutex);
    Finish({grpc::StatusCode::RESOURCE_EXHAUSTED, "too many subscriptions"});
  }
}

void CGrpcCall::TakeTurn() {
  CMutexLock lock(mMutex);
  mState = EState::Handling;
  ++mPending;
}

void CGrpcCall::Handle() {
  bool gone = false;
  {
    CMutexLock lock(mMutex);
    gone = mGone;
  }
  if (!gone) {
    std::string response;
    if (mServer.Services().Handle(Method(), mContext.method(), CReceivedBytes(mRequest).View(), response)) {
      Answer(response);
    } else {
      CMutexLock lock(mMutex);
      Finish({grpc::StatusCode::INVALID_ARGUMENT, "the request is not a message of the expected type"});
    }
  }
  EndStep();
}

void CGrpcCall::Answer(const std::string& response) {
  CMutexLock lock(mMutex);
  mState = EState::Finishing;
  mStream.WriteAndFinish(ToBuffer(response), grpc::WriteOptions(), grpc::Status::OK, Begin(mFinished));
}

void CGrpcCall::Refuse(grpc::StatusCode code, const std::string& why) {
  {
    CMutexLock lock(mMutex);
    Finish({code, why});
  }
  EndStep();
}

const CServiceTable::SMethod& CGrpcCall::Method() const {
  CMutexLock lock(mMutex);
  return mMethod;
}

bool CGrpcCall::IsSubscription() const {
  CMutexLock lock(mMutex);
  return mSubscribed;
}

void CGrpcCall::Finish(const grpc::Status& status) {
  mState = EState::Finishing;
  mStream.Finish(status, Begin(mFinished));
}

void CGrpcCall::Subscribe() {
  {
    // Told at once, so that the client knows of the subscription before there is anything to notify.
    CMutexLock lock(mMutex);
    mSubscribed = true;
    if (mGone) return;
    mState = EState::Streaming;
    mWriting = true;
    mContext.AddInitialMetadata(kAcceptedKey, kAcceptedValue);
    mStream.SendInitialMetadata(Begin(mWritten));
  }
  Method().notifications->Add(shared_from_this());
  bool gone = false;
  {
    CMutexLock lock(mMutex);
    gone = mGone;
  }
  if (gone) Method().notifications->Remove(this);  // OnDone was here before there was something to remove
}

void CGrpcCall::Deliver(const CNotificationHub::Bytes& notification) {
  CMutexLock lock(mMutex);
  if (mGone || mEnding) return;
  if (!mWriting) {
    Write(notification);
    return;
  }
  if (mWaiting.size() == kMostWaitingNotifications) {
    mWaiting.pop_front();
    if (!std::exchange(mDropTold, true)) {
      LOG_WARNING("A subscriber of {} does not keep up; the oldest notifications are dropped",
                  mContext.method());
    }
  }
  mWaiting.push_back(notification);
}

void CGrpcCall::Write(const CNotificationHub::Bytes& notification) {
  mWriting = true;
  mStream.Write(ToBuffer(*notification), Begin(mWritten));
}

void CGrpcCall::OnWritten(bool ok) {
  CMutexLock lock(mMutex);
  mWriting = false;
  if (!ok || mGone) return;  // Done comes too
  if (mEnding) {
    Finish({grpc::StatusCode::UNAVAILABLE, "the service stops"});
  } else if (!mWaiting.empty()) {
    Write(mWaiting.front());
    mWaiting.pop_front();
  }
}

void CGrpcCall::EndSubscription() {
  CMutexLock lock(mMutex);
  if (mState != EState::Streaming || mGone || std::exchange(mEnding, true)) return;
  mWaiting.clear();
  if (!mWriting) Finish({grpc::StatusCode::UNAVAILABLE, "the service stops"});
}

bool CGrpcCall::Abandon() {
  CMutexLock lock(mMutex);
  if (mState != EState::Reading && mState != EState::Finishing) return false;
  mAbandoned = true;
  mContext.TryCancel();
  return true;
}

void CGrpcCall::OnDone() {
  {
    CMutexLock lock(mMutex);
    mGone = true;
    mWaiting.clear();
  }
  if (Method().notifications) Method().notifications->Remove(this);
}

}  // namespace Rpc
