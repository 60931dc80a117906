#pragma once

#include <algorithm>
#include <utility>

#include "platform/worker/scheduler.h"

namespace Rpc {

/// The pauses between attempts to reach a peer: each twice as long as the one before, up to a cap. One
/// thread at a time.
class CBackOff {
 public:
  static constexpr Milliseconds kFirst{100};
  static constexpr Milliseconds kCap{2000};

  /// The pause before the next attempt.
  Milliseconds Next() { return std::exchange(mNext, std::min(mNext * 2, kCap)); }
  void Reset() { mNext = kFirst; }
  /// For a failure that a quick attempt cannot cure.
  void GoToCap() { mNext = kCap; }

 private:
  Milliseconds mNext = kFirst;
};

}  // namespace Rpc
