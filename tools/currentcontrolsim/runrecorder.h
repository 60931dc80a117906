#pragma once

#include "simulation/stationmoment.h"
#include "tools/currentcontrolsim/simulatedrun.h"

/// Takes down what a run shows: one moment of every step, and of all of them the worst. One thread.
class CRunRecorder {
 public:
  CRunRecorder(SSimulatedRun& run, Milliseconds step) : mRun(run), mStep(step) {}

  /// Moments in order of time.
  void Take(const SStationMoment& moment);

 private:
  SSimulatedRun& mRun;
  const Milliseconds mStep;
};
