#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/worker/virtualscheduler.h"
#include "simulation/grouprule.h"
#include "simulation/igroupstation.h"
#include "simulation/multicastmedium.h"
#include "simulation/rs485bus.h"

/// Plays what is planned for a group, with stations of whatever kind, and checks all the while what must hold
/// in every group: see `CGroupRule` and those who derive from it. One thread.
class CGroupRun {
 public:
  struct STotals {
    std::uint64_t messages = 0;
    std::uint64_t limitChanges = 0;
    std::uint64_t wattHours = 0;  ///< that the vehicles took, at 230 V
  };
  struct SOutcome {
    std::vector<SGroupViolation> violations;  ///< in order of time; empty when all held
    STotals totals;
  };
  /// Each may be empty.
  struct SObservers {
    std::function<void(const SGroupMoment&)> moment = {};                     ///< of every second
    std::function<void(Milliseconds at, const std::string& what)> told = {};  ///< whatever happens
    std::function<void(Milliseconds at, MediumStation from, std::uint8_t id)> sent = {};  ///< a message
  };

  /// The leader cannot know of less current before it has looked, and whoever it told more holds that until
  /// it hears otherwise, or nothing any more.
  static constexpr Milliseconds kGrace{15000};
  static constexpr Milliseconds kMoreGraceInTrouble{10000};
  static constexpr Milliseconds kHold{8000};
  /// A leader takes 10 s for that; here it is noticed a little late that a vehicle begins.
  static constexpr Milliseconds kPhasesKnown{8000};

  CGroupRun(SGroupPlan plan, const GroupStationCreator& create, SObservers observers);
  ~CGroupRun();
  CGroupRun(const CGroupRun&) = delete;
  CGroupRun& operator=(const CGroupRun&) = delete;

  /// Once.
  SOutcome Play();

 private:
  using Amperes = std::array<std::int32_t, 3>;
  struct SFormerCapacity {
    Milliseconds until;
    LbPhaseCurrents capacity;
    LbPhaseCurrents planned;
  };

  SGroupPlace PlaceOf(MediumStation number);
  void CreateRules();
  void CutOff();
  Milliseconds Elapsed() const;
  SGroupStationMoment& Moment(MediumStation number) { return mMoment.stations[number - 1]; }
  IGroupStation& Station(MediumStation number) { return *mStations[number - 1]; }

  void HappenDue();
  void Happen(const GroupEvents::SPlug& plug);
  void Happen(const GroupEvents::SUnplug& unplug);
  void Happen(const GroupEvents::SFull& full);
  void Happen(const GroupEvents::SPower& power);
  void Happen(const GroupEvents::SAdapter& adapter);
  void Happen(const GroupEvents::SSplit& split);
  void Happen(const GroupEvents::SNoise& noise);
  void Happen(const GroupEvents::SCapacity& capacity);
  void Happen(const GroupEvents::SHouse& house);
  void Happen(const GroupEvents::SSecondLeader& leader);
  void SwitchOn(MediumStation number, bool isOn);
  void NoteTrouble();
  void NoteCapacity();
  std::uint32_t CapacityWith(std::int64_t fuseMilliAmpere, std::size_t phase) const;

  void OnSent(MediumStation number, std::uint8_t id);
  void OnLimit(MediumStation number);
  void OnSecond();
  void NoteDraw(MediumStation number);
  void ShowHouse();
  void NoteGrant();
  void Note(MediumStation number);
  LbPhaseCurrents MayDraw(MediumStation number) const;
  bool IsKnown(MediumStation number) const;
  std::uint32_t CountedFallback(MediumStation number) const;

  const SGroupPlan mPlan;
  const SObservers mObservers;
  const std::shared_ptr<CVirtualScheduler> mScheduler = std::make_shared<CVirtualScheduler>();
  const TimePoint mBegin;
  std::uint64_t mNextSeed;
  CMulticastMedium mNetwork;
  CRs485Bus mLine;
  std::vector<SGroupViolation> mViolations;
  STotals mTotals;
  std::uint64_t mMilliAmpereSeconds = 0;
  std::vector<std::unique_ptr<CGroupRule>> mRules;
  // Of the plan, what comes next, and what holds.
  std::size_t mNextEvent = 0;
  std::vector<bool> mHasAdapter;
  CHearing mHearing;
  bool mIsCutOff = false;
  std::uint32_t mSecondLeaders = 0;
  std::uint32_t mCapacity;  // mA
  Amperes mHouse{};         // mA
  std::deque<SFormerCapacity> mFormerCapacities;
  SGroupMoment mMoment;
  std::vector<std::unique_ptr<IGroupStation>> mStations;
};
