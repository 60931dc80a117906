#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "platform/worker/scheduler.h"

/// What a vehicle that follows its limits in time may be drawing: the largest of those that were in force
/// within the last `kTimeToFollow`. So a raised limit counts at once and a lowered one later. One thread.
class CRecentLimits {
 public:
  /// The 5 s that a vehicle has to follow a lowered limit, and as long as five measurements, one per second,
  /// take to forget what it drew before.
  static constexpr Milliseconds kTimeToFollow{10000};

  /// `milliAmpere` was in force before the first limit.
  explicit CRecentLimits(std::uint32_t milliAmpere) : mPresent(milliAmpere) {}

  /// In mA, from now on.
  void Set(std::uint32_t milliAmpere, TimePoint now);
  std::uint32_t Largest(TimePoint now);
  /// When the largest one falls; nothing: not before another limit is set.
  std::optional<TimePoint> NextFall() const;

 private:
  struct SReplaced {
    std::uint32_t milliAmpere;
    TimePoint until;  ///< counts before, not at
  };

  std::uint32_t mPresent;
  std::deque<SReplaced> mReplaced;  // falling, each above the present one: what a later one exceeds is gone
};
