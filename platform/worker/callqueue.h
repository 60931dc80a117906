#pragma once

#include <map>
#include <utility>

#include "platform/worker/scheduler.h"

/// The calls of one line in order of due time, then of number. It knows no clock, no thread and no lock: its
/// owner tells the time and runs the calls, one at a time. What is dropped is handed to the owner, who must
/// let it die outside of any lock, since what a call has captured may do anything then.
class CCallQueue {
 public:
  using Call = ICallLine::Call;
  using CallId = ICallLine::CallId;
  using Place = std::pair<TimePoint, CallId>;

 private:
  struct SCall {
    Call call;
    TimePoint due;
    Milliseconds period;
  };

 public:
  using Calls = std::map<CallId, SCall>;
  using Dropped = Calls::node_type;

  /// Numbers must not repeat and rise with every posting. A period of zero or less: once.
  void Add(CallId id, Call call, TimePoint due, Milliseconds period);

  /// Takes a call out; the running one is not repeated.
  Dropped Cancel(CallId id);
  /// Takes all calls out; the running one is not repeated.
  Calls Clear();

  /// Whether the call waits for its turn or runs.
  bool Has(CallId id) const { return mCalls.find(id) != mCalls.end(); }
  /// Where the next call stands; null when none waits.
  const Place* First() const { return mPlaces.empty() ? nullptr : &mPlaces.begin()->first; }

  struct SRun {
    CallId id = 0;
    const Call* call = nullptr;  ///< valid until `EndRun`
  };

  /// Begins the run of the first call if it is due; else the call is null.
  SRun BeginRun(TimePoint now);
  /// Ends the run: a periodic call takes its next place, which was settled when the run began; any other is
  /// dropped.
  Dropped EndRun();

 private:
  using Places = std::map<Place, SCall*>;

  Calls mCalls;
  Places mPlaces;  // of the waiting calls
  CallId mRunning = 0;
  Places::node_type mNextPlace;  // of the running call when it is to be repeated
};
