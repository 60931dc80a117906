#pragma once

#include "platform/utility/backoff.h"

namespace Rpc {

/// The pauses between attempts to reach a peer. One thread at a time.
class CBackOff : public ::CBackOff {
 public:
  static constexpr Milliseconds kFirst{100};
  static constexpr Milliseconds kCap{2000};

  constexpr CBackOff() : ::CBackOff(kFirst, kCap) {}
};

}  // namespace Rpc
