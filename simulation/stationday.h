#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "simulation/dayplan.h"
#include "simulation/dayrule.h"
#include "simulation/runtotals.h"
#include "simulation/stationmoment.h"
#include "simulation/stationobserver.h"
#include "simulation/virtualstation.h"

/// Plays a planned day at a whole station in virtual time, with the application that ships, and checks all
/// the while what must hold on every day: see `CDayRule` and those who derive from it. One thread.
class CStationDay {
 public:
  struct SOutcome {
    std::vector<SDayViolation> violations;  ///< in order of time; empty when all held
    SRunTotals totals;
  };
  using Observer = std::function<void(const SStationMoment&)>;

  static constexpr Milliseconds kUsualStep{10000};
  /// How often the rules are checked, and the world moves on.
  static constexpr Milliseconds kCheckPeriod{1000};

  /// `observer` sees a moment of every `step`, the start first; a step is a whole number of `kCheckPeriod`.
  explicit CStationDay(SDayPlan plan, Observer observer = {}, Milliseconds step = kUsualStep);

  /// Once.
  SOutcome Play();

 private:
  void CreateRules();
  Milliseconds TimeOfDay() const { return mPlan.begin + mStation.Elapsed(); }
  void Happen();
  void Visit(Milliseconds now);
  void Plug(const SDayPlan::SVisit& visit);
  void Unplug();
  void ChangeSettings(Milliseconds now);
  void Trouble(Milliseconds now);
  void Suffer(const SDayPlan::STrouble& trouble, bool begins);
  void Watch();
  void NoteStop(const SStationMoment& moment);
  void NoteMeters(Milliseconds now);
  void OnSetpoint(std::uint32_t milliAmpere, std::uint32_t phases);

  const SDayPlan mPlan;
  const Observer mObserver;
  const Milliseconds mStep;
  const CSolarRoof mRoof;
  SDaySituation mSituation;
  std::vector<std::unique_ptr<CDayRule>> mRules;
  // Of the plan, what comes next.
  std::size_t mNextLoads = 0;
  std::size_t mNextVisit = 0;
  std::size_t mNextChange = 0;
  std::size_t mNextTrouble = 0;
  bool mIsTroubled = false;  ///< that trouble has begun
  Milliseconds mHouseMeterGoodFrom{0};
  Milliseconds mStationMeterGoodFrom{0};
  CRunTotals mTotals{kCheckPeriod};
  std::vector<SDayViolation> mViolations;
  CVirtualStation mStation;
  CStationObserver mSight;
};
