#pragma once

#include <memory>

#include "platform/worker/scheduler.h"

/// Virtual time: all workers' calls run on the thread that calls `RunFor` or waits for an event, in order of
/// due time and then of posting, and time jumps from one to the next. Nothing here blocks, sleeps or locks:
/// one thread only.
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

  /// Runs everything that is due within the span, then sets the time to its end.
  void RunFor(Milliseconds span);
  /// Runs what is due now.
  void RunDue() { RunFor(Milliseconds{0}); }

 private:
  class CState;
  std::shared_ptr<CState> mState;
};
