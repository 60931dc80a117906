#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/worker/scheduler.h"

/// Cancels a scheduled call when told to or when destroyed. May outlive the worker. One thread at a time.
class CCallHandle {
 public:
  CCallHandle() = default;
  ~CCallHandle() { Cancel(); }
  CCallHandle(CCallHandle&& other) noexcept = default;
  CCallHandle& operator=(CCallHandle&& other) noexcept;
  CCallHandle(const CCallHandle&) = delete;
  CCallHandle& operator=(const CCallHandle&) = delete;

  /// The call does not run any more when this returns: a run in progress is waited for, except from inside
  /// the worker's own calls, where a run in progress is the caller itself and is its last. Hold no lock that
  /// the call takes. Cancelling twice is harmless.
  void Cancel();

 private:
  friend class CWorker;
  CCallHandle(std::weak_ptr<ICallLine> line, ICallLine::CallId id) : mLine(std::move(line)), mId(id) {}

  std::weak_ptr<ICallLine> mLine;
  ICallLine::CallId mId = 0;
};

/// A worker: calls that run one after the other, now, later or periodically, on a turn that the scheduler
/// hands out.
///
/// Every operation may come from any thread. A call that throws is caught by nobody, which ends the process.
class CWorker {
 public:
  using Call = ICallLine::Call;

  /// The worker is idle until `Start`; what is posted or added before waits for it.
  CWorker(IScheduler& scheduler, const std::string& name);
  /// Stops. Not to be destroyed from one of its own calls.
  ~CWorker();
  CWorker(const CWorker&) = delete;
  CWorker& operator=(const CWorker&) = delete;

  /// Begins to run calls. Starting a started worker does nothing; a stopped one may be started again.
  void Start();

  /// Drops every pending call and returns when none is running any more; from inside one of its own calls it
  /// returns at once and that call is the last. Stopping twice does nothing.
  void Stop();

  /// Schedules a call for `firstDue` from now and, with a period, again every period. Due times do not drift;
  /// a call that is late runs once, however many periods were missed, and goes on in step with its first due
  /// time. On a stopped worker the call never runs.
  [[nodiscard]] CCallHandle AddCall(Call call, Milliseconds firstDue, Milliseconds period = ICallLine::kOnce);

  /// Lets the worker run the call after those that are due already. False when the worker is stopped: the
  /// call is dropped.
  bool NonBlockingCall(Call call);

  /// Like `NonBlockingCall`, and returns when the call has run. From inside one of the worker's own calls it
  /// runs at once. False when the worker is stopped, or stops before the call's turn: it did not run then. On
  /// a worker that is not started yet it waits for the start.
  bool BlockingCall(const Call& call);

 private:
  std::shared_ptr<ICallLine> mLine;
};
