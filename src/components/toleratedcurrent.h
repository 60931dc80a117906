#pragma once

#include <cstdint>
#include <functional>
#include <limits>

#include "platform/worker/worker.h"
#include "src/components/recentlimits.h"

/// Tells what a vehicle may be drawing: the largest setpoint that was in force lately. What was in force
/// before the first one nobody knows: anything is tolerated until a vehicle has followed that. Any thread.
class CToleratedCurrent {
 public:
  /// `changed` gets it in mA on the worker, after every setpoint and when it falls.
  CToleratedCurrent(IScheduler& scheduler, std::function<void(std::uint32_t milliAmpere)> changed);
  ~CToleratedCurrent();

  /// The setpoint, in mA, that the vehicle has from now on. Does not wait.
  void SetSetpoint(std::uint32_t milliAmpere);

 private:
  // On the worker.
  void Tell();

  const IClock& mClock;
  const std::function<void(std::uint32_t milliAmpere)> mChanged;
  CRecentLimits mSetpoints{std::numeric_limits<std::uint32_t>::max()};
  CCallHandle mNextFall;
  CWorker mWorker;  // last, so that it ends first
};
