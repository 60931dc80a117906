#include "platform/worker/realcallline.h"

#include <sys/prctl.h>

#include "platform/log/logcapture.h"

namespace {

TimePoint SteadyNow() {
  return std::chrono::steady_clock::now();
}

}  // namespace

CRealCallLine::~CRealCallLine() {
  Stop();
  if (mThread.joinable()) mThread.join();
}

void CRealCallLine::Start() {
  CMutexLock lock(mMutex);
  if (mState == EState::Started) return;
  mState = EState::Started;
  // A thread that was told to stop and has not left yet, such as the caller, simply goes on.
  if (mThread.joinable() && !mThreadLeft) return;
  if (mThread.joinable()) mThread.join();
  mThreadLeft = false;
  mThread = std::thread([this, context = CLogCapture::OfThisThread()] {
    CLogCapture::CScope scope(context);
    Run();
  });
}

void CRealCallLine::Stop() {
  CCallQueue::Calls dropped;  // dies after the lock is gone
  CMutexLock lock(mMutex);
  mState = EState::Stopped;
  dropped = mQueue.Clear();
  mWork.NotifyAll();
  mDone.notify_all();
  AwaitEndOfRun();
}

ICallLine::CallId CRealCallLine::Add(Call call, Milliseconds firstDue, Milliseconds period) {
  const TimePoint due = SteadyNow() + firstDue;
  CMutexLock lock(mMutex);
  return mState == EState::Stopped ? 0 : Enqueue(std::move(call), due, period);
}

void CRealCallLine::Cancel(CallId id) {
  CCallQueue::Dropped dropped;  // dies after the lock is gone
  CMutexLock lock(mMutex);
  dropped = mQueue.Cancel(id);
  if (mInRun == id) AwaitEndOfRun();
}

bool CRealCallLine::Post(Call call) {
  const TimePoint due = SteadyNow();
  CMutexLock lock(mMutex);
  if (mState == EState::Stopped) return false;
  Enqueue(std::move(call), due, kOnce);
  return true;
}

bool CRealCallLine::RunAndWait(const Call& call) {
  const TimePoint due = SteadyNow();
  bool hasRun = false;  // written by the thread before it takes the lock to end the run
  CMutexLock lock(mMutex);
  if (mState == EState::Stopped) return false;
  if (OnOwnThread()) {
    lock.unlock();
    call();
    return true;
  }
  const CallId id = Enqueue(
      [&call, &hasRun] {
        call();
        hasRun = true;
      },
      due, kOnce);
  while (mQueue.Has(id)) mDone.wait(lock);
  return hasRun;
}

ICallLine::CallId CRealCallLine::Enqueue(Call call, TimePoint due, Milliseconds period) {
  mQueue.Add(++mLastId, std::move(call), due, period);
  if (mQueue.First()->second == mLastId) mWork.NotifyOne();
  return mLastId;
}

void CRealCallLine::AwaitEndOfRun() {
  if (OnOwnThread()) return;
  const auto runs = mRuns;
  while (mInRun != 0 && mRuns == runs) mDone.wait(mMutex);
}

void CRealCallLine::Run() noexcept {
  prctl(PR_SET_NAME, mName.c_str());  // which cuts it to 15 characters
  CMutexLock lock(mMutex);
  while (mState == EState::Started) {
    if (!RunFirstIfDue()) AwaitWork();
  }
  mThreadLeft = true;
}

bool CRealCallLine::RunFirstIfDue() {
  const auto [id, call] = mQueue.BeginRun(SteadyNow());
  if (call == nullptr) return false;
  mInRun = id;
  mMutex.unlock();
  (*call)();
  mMutex.lock();
  if (auto dropped = mQueue.EndRun()) {
    mMutex.unlock();
    dropped = {};
    mMutex.lock();
  }
  mInRun = 0;
  ++mRuns;
  mDone.notify_all();
  return true;
}

void CRealCallLine::AwaitWork() {
  if (const auto* first = mQueue.First()) {
    mWork.WaitUntil(mMutex, first->first);
  } else {
    mWork.Wait(mMutex);
  }
}
