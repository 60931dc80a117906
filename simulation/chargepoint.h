#pragma once

#include <cstdint>

#include "platform/utility/mutex.h"
#include "platform/worker/scheduler.h"
#include "simulation/vehicle.h"

/// The station's outlet with the vehicle at it, always brought up to the present before it is looked at or
/// changed. Any thread.
class CChargePoint {
 public:
  struct SView {
    CVehicle::EState state;
    CVehicle::Currents draw;  ///< mA on L1 to L3
    bool stopped;             ///< the relay is open until the plug is pulled
  };

  explicit CChargePoint(const IClock& clock) : mClock(clock), mUpTo(clock.Now()) {}

  SView View() {
    const CMutexLock lock(mMutex);
    CatchUp();
    return {mVehicle.State(), mVehicle.Draw(), mVehicle.IsStopped()};
  }

  void Offer(std::uint32_t milliAmpere, std::uint32_t phases) {
    const CMutexLock lock(mMutex);
    CatchUp();
    mVehicle.Offer(milliAmpere, phases);
  }

  /// `change` gets the vehicle and must not call this object.
  template <class TChange>
  void Change(const TChange& change) {
    const CMutexLock lock(mMutex);
    CatchUp();
    change(mVehicle);
  }

 private:
  void CatchUp() REQUIRES(mMutex) {
    const auto span = std::chrono::duration_cast<Milliseconds>(mClock.Now() - mUpTo);
    if (span.count() <= 0) return;
    mVehicle.Advance(span);
    mUpTo += span;
  }

  const IClock& mClock;
  CMutex mMutex;
  CVehicle mVehicle GUARDED_BY(mMutex);
  TimePoint mUpTo GUARDED_BY(mMutex);
};
