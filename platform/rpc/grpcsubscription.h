#pragma once

#include <memory>
#include <string>

#include <grpcpp/alarm.h>
#include <grpcpp/channel.h>
#include <grpcpp/client_context.h>
#include <grpcpp/support/async_stream.h>

#include "platform/log/logcapture.h"
#include "platform/rpc/backoff.h"
#include "platform/rpc/channel.h"
#include "platform/rpc/grpceventloop.h"
#include "platform/utility/mutex.h"

namespace Rpc {

/// One subscription over gRPC, an endless chain of events: attempt, notifications, loss, pause, attempt.
/// There is always exactly one event that it waits for, so its callbacks run one at a time.
class CGrpcSubscription final : public IChannel::ISubscription, private CGrpcEventLoop::IHandler {
 public:
  CGrpcSubscription(std::shared_ptr<CGrpcEventLoop> loop, std::shared_ptr<grpc::Channel> channel,
                    std::string path, const std::string& request, IChannel::SSubscriber subscriber);
  ~CGrpcSubscription() override;
  CGrpcSubscription(const CGrpcSubscription&) = delete;
  CGrpcSubscription& operator=(const CGrpcSubscription&) = delete;

 private:
  enum class EAwaited { Start, Acceptance, Notification, Status, EndOfPause };

  void OnEvent(bool ok) override EXCLUDES(mMutex);
  void Attempt() REQUIRES(mMutex);
  void AwaitNotification() REQUIRES(mMutex);
  void AwaitStatus() REQUIRES(mMutex);
  void Pause() REQUIRES(mMutex);

  bool IsAccepted() const REQUIRES(mMutex);
  void Establish() REQUIRES(mMutex);
  void Lose() REQUIRES(mMutex);
  /// Runs a callback without the lock; events do not come meanwhile.
  template <class TCallback, class... TArguments>
  void Tell(const TCallback& callback, const TArguments&... arguments) REQUIRES(mMutex);

  void* Tag() { return static_cast<CGrpcEventLoop::IHandler*>(this); }

  const std::shared_ptr<CGrpcEventLoop> mLoop;
  const std::shared_ptr<grpc::Channel> mChannel;
  const std::string mPath;
  const grpc::ByteBuffer mRequest;
  const IChannel::SSubscriber mSubscriber;
  const std::shared_ptr<CLogCapture::CBuffer> mLogContext = CLogCapture::OfThisThread();
  grpc::CompletionQueue& mQueue;

  CMutex mMutex;
  CCondition mChainEnded;
  bool mEnding GUARDED_BY(mMutex) = false;
  bool mEnded GUARDED_BY(mMutex) = false;
  EAwaited mAwaited GUARDED_BY(mMutex) = EAwaited::Start;
  std::unique_ptr<grpc::ClientContext> mContext GUARDED_BY(mMutex);
  std::unique_ptr<grpc::ClientAsyncReader<grpc::ByteBuffer>> mStream GUARDED_BY(mMutex);
  grpc::ByteBuffer mNotification GUARDED_BY(mMutex);
  grpc::Status mStatus GUARDED_BY(mMutex);
  grpc::Alarm mAlarm GUARDED_BY(mMutex);
  CBackOff mBackOff GUARDED_BY(mMutex);
  bool mEstablished GUARDED_BY(mMutex) = false;
  bool mWaitForPeer GUARDED_BY(mMutex) = false;  // its absence is told, now gRPC may wait for it
  gpr_timespec mEstablishedAt GUARDED_BY(mMutex){};
};

}  // namespace Rpc
