#pragma once

#include <chrono>

#include <pthread.h>

#include "platform/utility/mutex.h"

/// A condition whose deadlines are on the steady clock with every C library. The standard one waits by the
/// wall clock where the library has no pthread_cond_clockwait, as musl has none: whoever sets that clock back
/// would make it wait as much longer. As always: wait in a loop that checks the guarded condition.
class CMonotonicCondition {
 public:
  /// Throws std::system_error.
  CMonotonicCondition();
  ~CMonotonicCondition() { pthread_cond_destroy(&mCondition); }
  CMonotonicCondition(const CMonotonicCondition&) = delete;
  CMonotonicCondition& operator=(const CMonotonicCondition&) = delete;

  void Wait(CMutex& mutex) REQUIRES(mutex);
  /// Returns at the deadline at the latest.
  void WaitUntil(CMutex& mutex, std::chrono::steady_clock::time_point deadline) REQUIRES(mutex);
  void NotifyOne() { pthread_cond_signal(&mCondition); }
  void NotifyAll() { pthread_cond_broadcast(&mCondition); }

 private:
  pthread_cond_t mCondition;
};
