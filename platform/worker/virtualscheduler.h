#pragma once

#include <memory>

#include "platform/worker/scheduler.h"

/// Virtual time: all workers' calls run on the thread that calls `RunFor` or waits for an event, in order of
/// due time and then of posting, and time jumps from one to the next. Nothing here blocks, sleeps or locks:
/// one thread only.
///
/// A blocking call runs what that worker has due before it, then itself. Where it could only wait forever, on
/// a worker that is not started or that waits for the caller in turn, it throws std::logic_error.
class CVirtualScheduler final : public IScheduler {
 public:
  CVirtualScheduler();
  ~CVirtualScheduler() override;

  /// Starts at one hour, so that "long ago" can be said.
  TimePoint Now() const override;
  std::unique_ptr<ICallLine> CreateCallLine(const std::string& name) override;
  /// Waiting runs calls until the event is set, and throws std::logic_error when nothing is left that could
  /// set it.
  std::unique_ptr<IEvent> CreateEvent() override;

  /// Runs everything that is due within the span, then sets the time to its end. Used inside a call, it makes
  /// that call take so long: other workers' calls run meanwhile, its own worker's wait.
  void RunFor(Milliseconds span);
  /// Runs what is due now.
  void RunDue() { RunFor(Milliseconds{0}); }

 private:
  class CState;
  std::shared_ptr<CState> mState;
};
