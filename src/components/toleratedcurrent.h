#pragma once

#include <cstdint>
#include <deque>
#include <functional>

#include "platform/worker/worker.h"

/// What a vehicle that follows its setpoints in time may be drawing: the largest of those that were in force
/// within the last `kTimeToFollow`. So a raised setpoint counts at once and a lowered one later. Any thread.
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
};
