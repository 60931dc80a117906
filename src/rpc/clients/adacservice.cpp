#include "src/rpc/clients/adacservice.h"

#include <utility>

void CAdacService::Connect() {
  mSubscription = mPeer.PpStateNotifications({}, [this](const ipc::MPpState& state) {
    const CMutexLock lock(mMutex);
    if (mHandler) mHandler(state);
  });
}

void CAdacService::SetPpStateHandler(PpStateHandler handler) {
  const CMutexLock lock(mMutex);
  mHandler = std::move(handler);
}
