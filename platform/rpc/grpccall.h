#pragma once

#include <deque>
#include <list>
#include <memory>
#include <string>

#include <grpcpp/generic/async_generic_service.h>

#include "platform/rpc/servicetable.h"
#include "platform/utility/mutex.h"

namespace Rpc {

class CGrpcServer;

/// One call that a client makes, from its arrival to its end: answered once, or a subscription that is fed
/// until a side ends it. Moved on by the server's threads, one event after the other.
class CGrpcCall final : public CNotificationHub::ISubscriber, public std::enable_shared_from_this<CGrpcCall> {
 public:
  /// How many notifications wait for a slow subscriber; older ones are dropped, since the newest counts.
  static constexpr std::size_t kMostWaitingNotifications = 64;

  enum class EEvent { Arrived, Read, Written, Finished, Done };
  struct STag {
    CGrpcCall* call;
    EEvent event;
  };
  using Position = std::list<std::shared_ptr<CGrpcCall>>::iterator;

  explicit CGrpcCall(CGrpcServer& server) : mServer(server) {}

  /// Waits for a client's call.
  void Await(grpc::AsyncGenericService& service, grpc::ServerCompletionQueue& queue);
  /// On one of the server's threads. When nothing more can happen it tells the server to forget the call.
  void OnEvent(EEvent event, bool ok) EXCLUDES(mMutex);

  /// Runs the handler and answers, unless the client does not wait any more. On the thread that has the turn.
  void Handle() EXCLUDES(mMutex);
  /// In place of `Handle`: answers with an error.
  void Refuse(grpc::StatusCode code, const std::string& why) EXCLUDES(mMutex);

  /// Ends a subscription from our side; does nothing to other calls.
  void EndSubscription() EXCLUDES(mMutex);
  /// Ends the call if all that is missing is the client's doing; false if it is ours.
  bool Abandon() EXCLUDES(mMutex);

  void Deliver(const CNotificationHub::Bytes& notification) override EXCLUDES(mMutex);

  std::size_t Service() const { return Method().service; }
  bool IsSubscription() const EXCLUDES(mMutex);

  Position position;  ///< among the server's calls; the server's business

 private:
  enum class EState { Awaited, Reading, Handling, Streaming, Finishing };

  void OnArrived();
  void OnRead(bool ok);
  void OnWritten(bool ok) EXCLUDES(mMutex);
  void OnDone() EXCLUDES(mMutex);
  void TakeTurn() EXCLUDES(mMutex);
  void Answer(const std::string& response) EXCLUDES(mMutex);
  void Subscribe() EXCLUDES(mMutex);
  void Finish(const grpc::Status& status) REQUIRES(mMutex);
  void Write(const CNotificationHub::Bytes& notification) REQUIRES(mMutex);
  void* Begin(STag& tag) REQUIRES(mMutex);
  /// Set once, when the call arrives; the lock makes it seen by the thread of the next event.
  const CServiceTable::SMethod& Method() const EXCLUDES(mMutex);
  void EndStep() EXCLUDES(mMutex);

  CGrpcServer& mServer;
  grpc::GenericServerContext mContext;
  grpc::GenericServerAsyncReaderWriter mStream{&mContext};
  grpc::ByteBuffer mRequest;
  STag mArrived{this, EEvent::Arrived};
  STag mRead{this, EEvent::Read};
  STag mWritten{this, EEvent::Written};
  STag mFinished{this, EEvent::Finished};
  STag mDone{this, EEvent::Done};

  mutable CMutex mMutex;
  CServiceTable::SMethod mMethod GUARDED_BY(mMutex);
  EState mState GUARDED_BY(mMutex) = EState::Awaited;
  int mPending GUARDED_BY(mMutex) = 0;    // events and turns that are still to come
  bool mGone GUARDED_BY(mMutex) = false;  // the client is, or the call is over
  bool mWriting GUARDED_BY(mMutex) = false;
  bool mEnding GUARDED_BY(mMutex) = false;  // finish when the write in progress is through
  bool mSubscribed GUARDED_BY(mMutex) = false;
  bool mDropTold GUARDED_BY(mMutex) = false;
  bool mAbandoned GUARDED_BY(mMutex) = false;  // by us, so that its end is not the client's fault
  std::deque<CNotificationHub::Bytes> mWaiting GUARDED_BY(mMutex);
};

}  // namespace Rpc
