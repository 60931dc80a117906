#pragma once

#include <string>
#include <thread>

#include "platform/utility/monotoniccondition.h"
#include "platform/utility/mutex.h"
#include "platform/worker/callqueue.h"

/// A line of calls with a thread of its own, which lives from start to stop. Any thread.
class CRealCallLine final : public ICallLine {
 public:
  explicit CRealCallLine(std::string name) : mName(std::move(name)) {}
  ~CRealCallLine() override;

  void Start() override;
  void Stop() override;
  CallId Add(Call call, Milliseconds firstDue, Milliseconds period) override;
  void Cancel(CallId id) override;
  bool Post(Call call) override;
  bool RunAndWait(const Call& call) override;

 private:
  enum class EState { Idle, Started, Stopped };

  bool OnOwnThread() const REQUIRES(mMutex) { return std::this_thread::get_id() == mThread.get_id(); }
  CallId Enqueue(Call call, TimePoint due, Milliseconds period) REQUIRES(mMutex);
  void AwaitEndOfRun() REQUIRES(mMutex);
  void Run() noexcept;
  bool RunFirstIfDue() REQUIRES(mMutex);
  void AwaitWork() REQUIRES(mMutex);

  const std::string mName;
  CMutex mMutex;
  CMonotonicCondition mWork;  // for the thread: something to do, or the end
  CCondition mDone;           // for the others: a run ended, or calls were dropped
  EState mState GUARDED_BY(mMutex) = EState::Idle;
  bool mThreadLeft GUARDED_BY(mMutex) = false;
  CallId mLastId GUARDED_BY(mMutex) = 0;
  std::uint64_t mRuns GUARDED_BY(mMutex) = 0;
  CallId mInRun GUARDED_BY(mMutex) = 0;  // until what the run's end drops is gone too; zero between runs
  CCallQueue mQueue GUARDED_BY(mMutex);
  std::thread mThread GUARDED_BY(mMutex);
};
