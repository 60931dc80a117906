#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "platform/rpc/channel.h"
#include "platform/rpc/method.h"
#include "platform/utility/mutex.h"

namespace Rpc {

/// The answer of a call, or why there is none.
template <class TResponse>
struct SResult {
  EStatus status = EStatus::Failed;
  std::string detail;
  TResponse value;

  bool IsOk() const { return status == EStatus::Ok; }
};

using Subscription = std::unique_ptr<IChannel::ISubscription>;

/// The way to one peer service. Peers may start in any order and restart at any time: a lost link comes back
/// by itself, and being lost or found is logged once. Any thread.
class CClient {
 public:
  /// Unless said otherwise, no peer keeps us waiting longer than this.
  static constexpr Milliseconds kTimeout{900};

  CClient(std::string peer, std::unique_ptr<IChannel> channel, Milliseconds timeout = kTimeout)
      : mPeer(std::move(peer)), mTimeout(timeout), mChannel(std::move(channel)) {}

  /// While its absence is expected, a peer that cannot be reached is no warning: it is starting, or it was
  /// told to end.
  void ExpectAbsence(bool expected) { mAbsenceExpected = expected; }

  /// Calls and waits at most as long as the client was told to.
  template <class TRequest, class TResponse>
  SResult<TResponse> Call(const SUnaryMethod<TRequest, TResponse>& method, const TRequest& request) {
    IChannel::SAnswer answer = mChannel->Call(method.path, request.SerializeAsString(), mTimeout);
    SResult<TResponse> result{answer.status, std::move(answer.detail), {}};
    if (result.IsOk() && !result.value.ParseFromString(answer.bytes)) {
      result.status = EStatus::Failed;
      result.detail = "the answer is not a message of the expected type";
    }
    NoteCall(method.path, result.status, result.detail);
    return result;
  }

  /// Subscribes for as long as the returned subscription lives; see `IChannel::SSubscriber` for the
  /// callbacks. A notification that is no message of its type is dropped with one warning.
  template <class TRequest, class TNotification>
  [[nodiscard]] Subscription Subscribe(const SNotificationMethod<TRequest, TNotification>& method,
                                       const TRequest& request,
                                       std::function<void(const TNotification&)> notification,
                                       std::function<void(bool established)> link = {}) {
    return mChannel->Subscribe(
        method.path, request.SerializeAsString(),
        {[this, path = method.path, notification = std::move(notification)](std::string_view bytes) {
           TNotification message;
           if (message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()))) {
             notification(message);
           } else {
             NoteMalformed(path);
           }
         },
         [this, path = method.path, link = std::move(link)](bool established) {
           if (established) NoteCall(path, EStatus::Ok, {});
           if (link) link(established);
         },
         [this, path = method.path](EStatus status, const std::string& detail) {
           NoteCall(path, status, detail);
         }});
  }

 private:
  void NoteCall(std::string_view path, EStatus status, const std::string& detail);
  void NoteMalformed(std::string_view path);
  void NoteSuccess(std::string_view path);
  void NoteFailure(std::string_view path, EStatus status, const std::string& detail);

  const std::string mPeer;
  const Milliseconds mTimeout;
  std::atomic<bool> mInTrouble{false};  ///< lost, or a method fails: what saves a good call the lock
  std::atomic<bool> mAbsenceExpected{false};
  std::atomic<bool> mMalformedTold{false};
  CMutex mMutex;
  bool mLost GUARDED_BY(mMutex) = false;
  std::map<std::string, EStatus, std::less<>> mFailing
      GUARDED_BY(mMutex);  // by path; of a peer that is there
  const std::unique_ptr<IChannel> mChannel;
};

}  // namespace Rpc
