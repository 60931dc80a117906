#pragma once

#include <optional>

#include "platform/worker/scheduler.h"

/// Tells whether something has not happened for longer than a span: nothing heard, a state that lasts. What
/// never happened has not happened for longer than any span. One thread.
class CDeadman {
 public:
  CDeadman(const IClock& clock, Milliseconds span) : mClock(clock), mSpan(span) {}

  /// It happens now.
  void Restart() { mSince = mClock.Now(); }
  /// More than the span ago.
  bool HasExpired() const { return !mSince || mClock.Now() - *mSince > mSpan; }

 private:
  const IClock& mClock;
  const Milliseconds mSpan;
  std::optional<TimePoint> mSince;
};
