#pragma once

#include <functional>

#include "simulation/runtotals.h"
#include "simulation/scenario.h"
#include "simulation/stationday.h"
#include "simulation/stationobserver.h"
#include "simulation/virtualstation.h"

/// Plays a scenario at a whole station in virtual time. Unlike a made-up day it has no rules: whoever wrote
/// it may have meant whatever happens. One thread.
class CScenarioRun {
 public:
  /// `observer` sees a moment of every `CStationDay::kCheckPeriod`, the start first.
  CScenarioRun(const CVirtualStation::SFiles& files, CStationDay::Observer observer);

  /// Once. `length` is a whole number of `CStationDay::kCheckPeriod`.
  SRunTotals Play(const SScenario& scenario, Milliseconds length);

  /// Once through it, or to its last event and an hour more.
  static Milliseconds UsualLength(const SScenario& scenario);

 private:
  void Look();

  const CStationDay::Observer mObserver;
  CVirtualStation mStation;
  CStationObserver mStationObserver;
  CRunTotals mTotals{CStationDay::kCheckPeriod};
};
