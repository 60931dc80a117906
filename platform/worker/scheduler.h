#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

/// A moment on the clock that never jumps. Only schedulers and `platform/` read that clock.
using TimePoint = std::chrono::steady_clock::time_point;
/// A span of time with the resolution that the service works in; 64 bits on every board.
using Milliseconds = std::chrono::duration<std::int64_t, std::milli>;

/// Where time comes from.
class IClock {
 public:
  virtual ~IClock() = default;
  /// Any thread.
  virtual TimePoint Now() const = 0;
};

/// Something that is awaited once.
class IEvent {
 public:
  virtual ~IEvent() = default;
  /// Any thread; a second call changes nothing.
  virtual void Set() = 0;
  /// Returns when the event is set. Not to be called from a worker.
  virtual void Wait() = 0;
};

/// One line of calls that run one after the other, in order of due time and, when due together, of posting.
/// Components use it through `CWorker`, which says what each operation means.
class ICallLine {
 public:
  using Call = std::function<void()>;
  using CallId = std::uint64_t;
  /// A period of zero: the call runs once.
  static constexpr Milliseconds kOnce{0};

  virtual ~ICallLine() = default;
  virtual void Start() = 0;
  virtual void Stop() = 0;
  virtual CallId Add(Call call, Milliseconds firstDue, Milliseconds period) = 0;
  virtual void Cancel(CallId id) = 0;
  virtual bool Post(Call call) = 0;
  virtual bool RunAndWait(const Call& call) = 0;
};

/// Hands out time and turns. The real one gives every worker a thread; the virtual one runs all workers on
/// the thread of its caller and lets time jump from call to call. Must outlive everything that it created.
class IScheduler : public IClock {
 public:
  /// Any thread. The name is the thread's, where there is one.
  virtual std::unique_ptr<ICallLine> CreateCallLine(const std::string& name) = 0;
  virtual std::unique_ptr<IEvent> CreateEvent() = 0;
};
