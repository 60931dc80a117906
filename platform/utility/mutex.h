#pragma once

#include <condition_variable>
#include <mutex>
#include <shared_mutex>

// Names for clang's lock analysis; other compilers read past them.
#if defined(__clang__)
#define LOCK_ATTRIBUTE(x) __attribute__((x))
#else
#define LOCK_ATTRIBUTE(x)
#endif
#ifndef GUARDED_BY  // abseil, which comes along with gRPC, defines it alike
#define GUARDED_BY(mutex) LOCK_ATTRIBUTE(guarded_by(mutex))
#endif
#define REQUIRES(mutex) LOCK_ATTRIBUTE(requires_capability(mutex))
#define EXCLUDES(mutex) LOCK_ATTRIBUTE(locks_excluded(mutex))

/// A std::mutex whose rules the compiler checks: members name it with GUARDED_BY, functions with REQUIRES.
class LOCK_ATTRIBUTE(capability("mutex")) CMutex {
 public:
  void lock() LOCK_ATTRIBUTE(acquire_capability()) { mMutex.lock(); }
  void unlock() LOCK_ATTRIBUTE(release_capability()) { mMutex.unlock(); }
  /// For those who wait with it. The capability is not checked through it.
  pthread_mutex_t* NativeHandle() { return mMutex.native_handle(); }

 private:
  std::mutex mMutex;
};

/// Holds a CMutex for a scope. It can be let go and taken again, as waiting for a condition does.
class LOCK_ATTRIBUTE(scoped_lockable) CMutexLock {
 public:
  explicit CMutexLock(CMutex& mutex) LOCK_ATTRIBUTE(acquire_capability(mutex)) : mMutex(mutex) {
    mMutex.lock();
  }
  ~CMutexLock() LOCK_ATTRIBUTE(release_capability()) {
    if (mHeld) mMutex.unlock();
  }
  CMutexLock(const CMutexLock&) = delete;
  CMutexLock& operator=(const CMutexLock&) = delete;

  void unlock() LOCK_ATTRIBUTE(release_capability()) {
    mMutex.unlock();
    mHeld = false;
  }
  void lock() LOCK_ATTRIBUTE(acquire_capability()) {
    mMutex.lock();
    mHeld = true;
  }

 private:
  CMutex& mMutex;
  bool mHeld = true;
};

/// Waits with a CMutexLock. As always: wait in a loop that checks the guarded condition.
using CCondition = std::condition_variable_any;

/// Many readers or one writer.
class LOCK_ATTRIBUTE(capability("mutex")) CSharedMutex {
 public:
  void lock() LOCK_ATTRIBUTE(acquire_capability()) { mMutex.lock(); }
  void unlock() LOCK_ATTRIBUTE(release_capability()) { mMutex.unlock(); }
  void lock_shared() LOCK_ATTRIBUTE(acquire_shared_capability()) { mMutex.lock_shared(); }
  void unlock_shared() LOCK_ATTRIBUTE(release_shared_capability()) { mMutex.unlock_shared(); }

 private:
  std::shared_mutex mMutex;
};

/// Holds a CSharedMutex for a scope together with other readers.
class LOCK_ATTRIBUTE(scoped_lockable) CReaderLock {
 public:
  explicit CReaderLock(CSharedMutex& mutex) LOCK_ATTRIBUTE(acquire_shared_capability(mutex)) : mMutex(mutex) {
    mMutex.lock_shared();
  }
  ~CReaderLock() LOCK_ATTRIBUTE(release_generic_capability()) { mMutex.unlock_shared(); }
  CReaderLock(const CReaderLock&) = delete;
  CReaderLock& operator=(const CReaderLock&) = delete;

 private:
  CSharedMutex& mMutex;
};

/// Holds a CSharedMutex for a scope alone.
class LOCK_ATTRIBUTE(scoped_lockable) CWriterLock {
 public:
  explicit CWriterLock(CSharedMutex& mutex) LOCK_ATTRIBUTE(acquire_capability(mutex)) : mMutex(mutex) {
    mMutex.lock();
  }
  ~CWriterLock() LOCK_ATTRIBUTE(release_capability()) { mMutex.unlock(); }
  CWriterLock(const CWriterLock&) = delete;
  CWriterLock& operator=(const CWriterLock&) = delete;

 private:
  CSharedMutex& mMutex;
};
