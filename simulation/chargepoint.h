#pragma once

#include <cstdint>
#include <functional>
#include <utility>

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
    bool steady;              ///< until something else happens to it
  };

  explicit CChargePoint(const IClock& clock) : mClock(clock), mUpTo(clock.Now()) {}

  /// Called after each offer and change, on the thread that brings it and under whatever lock that holds: it
  /// only posts. Set before anything happens.
  void OnChange(std::function<void()> callback) { mOnChange = std::move(callback); }

  SView View() {
    const CMutexLock lock(mMutex);
    CatchUp();
    return {mVehicle.State(), mVehicle.Draw(), mVehicle.IsStopped(), mVehicle.IsSteady()};
  }

  void Offer(std::uint32_t milliAmpere, std::uint32_t phases) {
    Change([milliAmpere, phases](CVehicle& vehicle) { vehicle.Offer(milliAmpere, phases); });
  }

  /// `change` gets the vehicle and must not call this object.
  template <class TChange>
  void Change(const TChange& change) {
    {
      const CMutexLock lock(mMutex);
      CatchUp();
      change(mVehicle);
    }
    if (mOnChange) mOnChange();
  }

 private:
  void CatchUp() REQUIRES(mMutex) {
    const auto span = std::chrono::duration_cast<Milliseconds>(mClock.Now() - mUpTo);
    if (span.count() <= 0) return;
    mVehicle.Advance(span);
    mUpTo += span;
  }

  const IClock& mClock;
  std::function<void()> mOnChange;
  CMutex mMutex;
  CVehicle mVehicle GUARDED_BY(mMutex);
  TimePoint mUpTo GUARDED_BY(mMutex);
};
