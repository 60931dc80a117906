#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/utility/mutex.h"

namespace Rpc {

/// Serialised notifications on their way to many subscribers. A new subscriber is told the newest one at
/// once, so that it need not wait for a change to learn the present state. Any thread.
class CNotificationHub {
 public:
  using Bytes = std::shared_ptr<const std::string>;

  class ISubscriber {
   public:
    virtual ~ISubscriber() = default;
    /// Must not block and must not call the hub.
    virtual void Deliver(const Bytes& notification) = 0;
  };

  void Notify(Bytes notification);
  void Add(std::shared_ptr<ISubscriber> subscriber);
  /// `Deliver` is not running any more when this returns.
  void Remove(const ISubscriber* subscriber);
  std::size_t Subscribers() const;

 private:
  mutable CMutex mMutex;
  std::vector<std::shared_ptr<ISubscriber>> mSubscribers GUARDED_BY(mMutex);
  Bytes mNewest GUARDED_BY(mMutex);
};

/// The same for one type of message.
template <class TNotification>
class CNotifier {
 public:
  void Notify(const TNotification& notification) {
    mHub->Notify(std::make_shared<const std::string>(notification.SerializeAsString()));
  }
  const std::shared_ptr<CNotificationHub>& Hub() const { return mHub; }

 private:
  std::shared_ptr<CNotificationHub> mHub = std::make_shared<CNotificationHub>();
};

}  // namespace Rpc
