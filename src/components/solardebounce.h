#pragma once

#include <cstdint>
#include <optional>

#include "platform/worker/scheduler.h"

/// What solar charging is to do, by how long the surplus has been enough, or not. One thread.
class CSolarDebounce {
 public:
  enum class EStep {
    Wait,         ///< go on as before
    Start,        ///< it has been enough for long enough
    Follow,       ///< it is enough to go on
    FallToLeast,  ///< it is too little for the first time
    Stop          ///< it has been too little for too long
  };

  /// While the vehicle is held; charging starts after so many seconds.
  EStep WhileHeld(bool isEnough, std::int64_t startSeconds, TimePoint now);
  /// While it charges; charging stops after so many seconds.
  EStep WhileCharging(bool isEnough, std::int64_t stopSeconds, TimePoint now);
  void Reset();

 private:
  std::optional<TimePoint> mStartSince;  ///< enough surplus, not charging yet
  std::optional<TimePoint> mStopSince;   ///< too little surplus, still charging
};
