#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <limits>

#include "platform/worker/worker.h"

/// What a vehicle that follows its setpoints in time may be drawing: the largest of those that were in force
/// within the last `kTimeToFollow`. So a raised setpoint counts at once and a lowered one later. What was in
/// force before the first one nobody knows: anything is tolerated for so long. Any thread.
class CToleratedCurrent {
 public:
  /// The 5 s that a vehicle has to follow a lowered setpoint, and as long as five measurements, one per
  /// second, take to forget what it drew before.
  static constexpr Milliseconds kTimeToFollow{10000};

  /// `changed` gets it in mA on the worker, after every setpoint and when it falls.
  CToleratedCurrent(IScheduler& scheduler, std::function<void(std::uint32_t milliAmpere)> changed);
  ~CToleratedCurrent();

  /// The setpoint, in mA, that the vehicle has from now on. Does not wait.
  void SetSetpoint(std::uint32_t milliAmpere);

 private:
  struct SReplaced {
    std::uint32_t milliAmpere;
    TimePoint until;  ///< tolerated before, not at
  };

  // All on the worker.
  void Replace(std::uint32_t milliAmpere, TimePoint now);
  void Forget(TimePoint now);
  void AwaitNextFall();
  void Tell() const;

  const IClock& mClock;
  const std::function<void(std::uint32_t milliAmpere)> mChanged;
  std::uint32_t mPresent = std::numeric_limits<std::uint32_t>::max();
  std::deque<SReplaced> mReplaced;  // falling, each above the present one: what a later one exceeds is gone
  CCallHandle mNextFall;
  CWorker mWorker;  // last, so that it ends first
};
