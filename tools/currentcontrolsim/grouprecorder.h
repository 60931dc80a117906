#pragma once

#include <functional>
#include <vector>

#include "tools/currentcontrolsim/simulatedgroup.h"

/// Takes down what a group's run shows: a point of every step, and of all moments the worst. One thread.
class CGroupRecorder {
 public:
  /// `isSettling` says whether the leader finds the group together now.
  CGroupRecorder(SSimulatedGroup& group, const SGroupPlan& plan, Milliseconds step,
                 std::function<bool()> isSettling);

  /// Those of every second, in order of time.
  void Take(const SGroupMoment& moment);

 private:
  struct SStation {
    std::uint64_t milliAmpereSeconds = 0;
    Milliseconds waitingSince{0};
    bool isWaiting = false;
  };

  void NoteStations(const SGroupMoment& moment);
  void NoteSupply(const SGroupMoment& moment);
  void AddPoint(const SGroupMoment& moment);

  SSimulatedGroup& mGroup;
  const Milliseconds mStep;
  const std::function<bool()> mIsSettling;
  std::vector<SStation> mStations;
};
