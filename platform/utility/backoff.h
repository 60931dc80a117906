#pragma once

#include <algorithm>
#include <utility>

#include "platform/worker/scheduler.h"

/// The pauses between attempts to reach something: each twice as long as the one before, up to a cap. One
/// thread at a time.
class CBackOff {
 public:
  constexpr CBackOff(Milliseconds first, Milliseconds cap) : mFirst(first), mCap(cap), mNext(first) {}

  /// The pause before the next attempt.
  Milliseconds Next() { return std::exchange(mNext, std::min(mNext * 2, mCap)); }
  void Reset() { mNext = mFirst; }
  /// For a failure that a quick attempt cannot cure.
  void GoToCap() { mNext = mCap; }

 private:
  Milliseconds mFirst;
  Milliseconds mCap;
  Milliseconds mNext;
};
