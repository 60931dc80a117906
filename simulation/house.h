#pragma once

#include <array>
#include <cstdint>

#include "platform/utility/mutex.h"
#include "platform/worker/scheduler.h"
#include "simulation/chargepoint.h"
#include "simulation/mainfuse.h"

/// The house that the station belongs to: what else is switched on in it, what its roof gives, and the main
/// fuse through which the difference flows, to the house or from it. Brought up to the present before it is
/// looked at or changed: what was steady is taken to have flowed on, otherwise what flows now to have flowed
/// since. So look at it when something happens to the vehicle, and every `kPeriod` while its current changes
/// or the fuse carries too much. Any thread.
class CHouse {
 public:
  using Currents = CVehicle::Currents;
  using NetCurrents = std::array<std::int32_t, CVehicle::kPhases>;
  static constexpr std::uint32_t kUsualFuseMilliAmpere = 25000;
  static constexpr Milliseconds kPeriod{250};

  struct SView {
    Currents load;        ///< mA on L1 to L3 that the household takes
    Currents vehicle;     ///< and the vehicle
    Currents generation;  ///< and that the roof gives
    NetCurrents net;      ///< at the house connection; negative: fed into the grid
    Currents total;       ///< the same without its direction, which neither fuse nor transformers know
    CMainFuse fuse;
    double highestHeat;  ///< of this fuse and those before it, as a part of what trips it
  };

  CHouse(const IClock& clock, CChargePoint& chargePoint,
         std::uint32_t fuseMilliAmpere = kUsualFuseMilliAmpere);

  SView View();
  /// What the current transformers see, in mA.
  Currents AtTheConnection();
  /// The same with its direction, as a meter there sees it.
  NetCurrents NetAtTheConnection();
  /// Only brings it up to the present, and says whether the fuse carries more than it can for long.
  bool Look();

  /// From now on the household takes this; behind a fuse that has tripped it takes nothing.
  void SetLoads(const Currents& milliAmpere);
  /// `phase` from 1 to 3.
  void SetLoad(std::uint32_t phase, std::uint32_t milliAmpere);
  /// From now on the roof gives this, in mA on L1 to L3; without the grid its inverter gives nothing.
  void SetGeneration(const Currents& milliAmpere);
  /// Puts a new, cold fuse in the old one's place. The supply is back if that had tripped.
  void FitFuse(std::uint32_t ratingMilliAmpere);

 private:
  struct SFlow {
    Currents load;
    Currents vehicle;
    Currents generation;
    NetCurrents net;
    Currents total;
    bool isSteady;  ///< the vehicle
  };

  void CatchUp() REQUIRES(mMutex);
  void Change() REQUIRES(mMutex);
  void Flow() REQUIRES(mMutex);
  void CutOffWhenTripped() REQUIRES(mMutex);

  const IClock& mClock;
  CChargePoint& mChargePoint;
  const TimePoint mBegin;
  CMutex mMutex;
  Currents mLoad GUARDED_BY(mMutex){};
  Currents mGeneration GUARDED_BY(mMutex){};
  CMainFuse mFuse GUARDED_BY(mMutex);
  double mFormerHeat GUARDED_BY(mMutex) = 0;  // the highest of former fuses
  SFlow mFlow GUARDED_BY(mMutex){};           // as it was seen last
  TimePoint mUpTo GUARDED_BY(mMutex);
};
