#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/log/logcapture.h"
#include "platform/rpc/backoff.h"
#include "platform/rpc/inprocessnetwork.h"

namespace Rpc {

/// One subscription over a CInProcessNetwork. Its callbacks run on the network's worker; it keeps trying
/// until ended.
class CInProcessSubscription final : public CNotificationHub::ISubscriber,
                                     public std::enable_shared_from_this<CInProcessSubscription> {
 public:
  /// No message of any type: field number zero does not exist.
  static constexpr std::string_view kGarbage{"\0garbage", 8};

  CInProcessSubscription(CInProcessNetwork& network, std::string address, std::string path,
                         IChannel::SSubscriber subscriber);

  /// Begins to try. Call once.
  void Start();
  /// No callback is running any more when it returns, and none will. Not from a callback.
  void End() EXCLUDES(mMutex);

  /// Any thread, under the hub's lock.
  void Deliver(const CNotificationHub::Bytes& notification) override;

  // On the network's worker.
  void Lose() EXCLUDES(mMutex);
  void DeliverWithheld() EXCLUDES(mMutex);

 private:
  void Attempt() EXCLUDES(mMutex);
  void Take(const CNotificationHub::Bytes& notification) EXCLUDES(mMutex);
  void RetryLater() REQUIRES(mMutex);

  CInProcessNetwork& mNetwork;
  const std::string mAddress;
  const std::string mPath;
  const IChannel::SSubscriber mSubscriber;
  const std::shared_ptr<CLogCapture::CBuffer> mLogContext = CLogCapture::OfThisThread();

  /// Held while a callback runs, so that `End` can wait for it.
  CMutex mMutex;
  bool mEnded GUARDED_BY(mMutex) = false;
  std::shared_ptr<CNotificationHub> mHub GUARDED_BY(mMutex);  // null: lost
  TimePoint mEstablishedAt GUARDED_BY(mMutex);
  CNotificationHub::Bytes mWithheld GUARDED_BY(mMutex);  // what came while the peer hung, newest
  CBackOff mBackOff GUARDED_BY(mMutex);
  CCallHandle mRetry GUARDED_BY(mMutex);
};

}  // namespace Rpc
