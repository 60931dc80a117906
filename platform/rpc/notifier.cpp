#include "platform/rpc/notifier.h"

#include <algorithm>
#include <utility>

namespace Rpc {

void CNotificationHub::Notify(Bytes notification) {
  CMutexLock lock(mMutex);
  mNewest = std::move(notification);
  for (const auto& subscriber : mSubscribers) {
    subscriber->Deliver(mNewest);
  }
}

void CNotificationHub::Add(std::shared_ptr<ISubscriber> subscriber) {
  CMutexLock lock(mMutex);
  if (mNewest) subscriber->Deliver(mNewest);
  mSubscribers.push_back(std::move(subscriber));
}

void CNotificationHub::Remove(const ISubscriber* subscriber) {
  std::shared_ptr<ISubscriber> removed;  // its destructor runs after the lock is gone
  CMutexLock lock(mMutex);
  const auto found = std::find_if(mSubscribers.begin(), mSubscribers.end(),
                                  [&](const auto& candidate) { return candidate.get() == subscriber; });
  if (found == mSubscribers.end()) return;
  removed = std::move(*found);
  mSubscribers.erase(found);
}

std::size_t CNotificationHub::Subscribers() const {
  CMutexLock lock(mMutex);
  return mSubscribers.size();
}

}  // namespace Rpc
