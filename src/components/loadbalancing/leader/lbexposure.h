#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/worker/scheduler.h"
#include "src/components/loadbalancing/lbmessage.h"

/// The highest limit that may be in force at a station, given what it was told, what it has acknowledged and
/// what may have been lost on the way: see the safety rule in docs/load-balancing.md. What it falls back to
/// counts besides. One thread.
class CLbExposure {
 public:
  /// A station heeds no limit for longer than that after it has taken it; then it falls back.
  static constexpr Milliseconds kHold{kLbCommunicationTimeout};
  /// From the sending of a limit to that: its way, and a charge control that hangs, which takes nearly 1 s.
  static constexpr Milliseconds kLongestWay{3000};

  /// A limit is being sent, in mA.
  void Told(std::uint32_t milliAmpere, TimePoint now);
  /// The station has said that the newest one is in force.
  void Acknowledged();
  /// The station has said that none is.
  void FellBack() { mHoldsUntil.reset(); }

  /// In mA; 0: no limit that it was told can be in force any more, it has fallen back.
  std::uint32_t Highest(TimePoint now) const;
  /// Whether the station may be on its fallback current then, if nothing more reaches it.
  bool MayHaveFallenBack(TimePoint at) const { return !mHoldsUntil || *mHoldsUntil <= at; }

 private:
  struct STold {
    std::uint32_t milliAmpere;
    TimePoint at;  ///< when it was sent last
  };
  std::vector<STold> mTold;              // oldest first
  std::optional<TimePoint> mHoldsUntil;  // the newest that was acknowledged; none: nothing was
};
