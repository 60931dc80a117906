#include "platform/rpc/client.h"

#include "platform/log/log.h"

namespace Rpc {

void CClient::NoteCall(std::string_view path, EStatus status, const std::string& detail) {
  if (status != EStatus::Ok) {
    NoteFailure(path, status, detail);
  } else if (mInTrouble.load(std::memory_order_relaxed)) {
    NoteSuccess(path);
  }
}

void CClient::NoteSuccess(std::string_view path) {
  {
    CMutexLock lock(mMutex);
    const auto failing = mFailing.find(path);
    if (!mLost && failing == mFailing.end()) return;  // another method's trouble
    mLost = false;
    if (failing != mFailing.end()) mFailing.erase(failing);
    mInTrouble = !mFailing.empty();
  }
  LOG_INFO("Peer {} is back: {} succeeds", mPeer, path);
}

void CClient::NoteFailure(std::string_view path, EStatus status, const std::string& detail) {
  {
    // Being unreachable is the whole peer's state; any other failure is the method's own, or a method that
    // fails beside one that succeeds would fill the log with changes.
    CMutexLock lock(mMutex);
    if (status == EStatus::Unreachable) {
      if (mLost) return;
      mLost = true;
    } else {
      const auto [known, isNew] = mFailing.try_emplace(std::string(path), status);
      if (!isNew && known->second == status) return;
      known->second = status;
    }
    mInTrouble = true;
  }
  if (status == EStatus::Unreachable && mAbsenceExpected) {
    LOG_INFO("Peer {} is not there, as expected: {} ({})", mPeer, path, detail);
    return;
  }
  LOG_WARNING("Peer {} fails, {}: {} ({}); trying on", mPeer, path, ToText(status), detail);
}

void CClient::NoteMalformed(std::string_view path) {
  if (mMalformedTold.exchange(true)) return;
  LOG_WARNING("Peer {} sent a notification of {} that is no message of its type; such ones are dropped",
              mPeer, path);
}

}  // namespace Rpc
