#pragma once

#include <cstdint>

#include "platform/utility/mutex.h"
#include "platform/worker/scheduler.h"
#include "simulation/chargepoint.h"
#include "simulation/mainfuse.h"

/// The house that the station belongs to: what else is switched on in it, and the main fuse through which all
/// of it flows. Brought up to the present before it is looked at or changed; look at it at least every
/// `kPeriod`, so that the fuse sees how the vehicle's current goes. Any thread.
class CHouse {
 public:
  using Currents = CVehicle::Currents;
  static constexpr std::uint32_t kUsualFuseMilliAmpere = 25000;
  static constexpr Milliseconds kPeriod{250};

  struct SView {
    Currents load;     ///< mA on L1 to L3 that the household takes
    Currents vehicle;  ///< and the vehicle
    Currents total;    ///< at the house connection, where fuse and transformers are
    CMainFuse fuse;
  };

  CHouse(const IClock& clock, CChargePoint& chargePoint,
         std::uint32_t fuseMilliAmpere = kUsualFuseMilliAmpere);

  SView View();
  /// What the current transformers see, in mA.
  Currents AtTheConnection();
  /// Only brings it up to the present.
  void Look();

  /// From now on the household takes this; behind a fuse that has tripped it takes nothing.
  void SetLoads(const Currents& milliAmpere);
  /// `phase` from 1 to 3.
  void SetLoad(std::uint32_t phase, std::uint32_t milliAmpere);
  /// Puts a new, cold fuse in the old one's place. The supply is back if that had tripped.
  void FitFuse(std::uint32_t ratingMilliAmpere);

 private:
  struct SFlow {
    Currents load;
    Currents vehicle;
    Currents total;
  };

  SFlow Flow() REQUIRES(mMutex);
  void CatchUp() REQUIRES(mMutex);
  void CutOff(std::uint32_t phase, std::uint32_t milliAmpere) REQUIRES(mMutex);

  const IClock& mClock;
  CChargePoint& mChargePoint;
  const TimePoint mBegin;
  CMutex mMutex;
  Currents mLoad GUARDED_BY(mMutex){};
  CMainFuse mFuse GUARDED_BY(mMutex);
  TimePoint mUpTo GUARDED_BY(mMutex);
};
