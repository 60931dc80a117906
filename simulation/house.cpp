#include "simulation/house.h"

#include "platform/log/log.h"

CHouse::CHouse(const IClock& clock, CChargePoint& chargePoint, std::uint32_t fuseMilliAmpere)
    : mClock(clock), mChargePoint(chargePoint), mBegin(clock.Now()), mFuse(fuseMilliAmpere), mUpTo(mBegin) {}

CHouse::SView CHouse::View() {
  const CMutexLock lock(mMutex);
  return CatchUp();
}

void CHouse::SetLoads(const Currents& milliAmpere) {
  const CMutexLock lock(mMutex);
  CatchUp();
  mLoad = milliAmpere;
  CatchUp();  // it may be too much at once
}

void CHouse::SetLoad(std::uint32_t phase, std::uint32_t milliAmpere) {
  const CMutexLock lock(mMutex);
  CatchUp();
  mLoad.at(phase - 1) = milliAmpere;
  CatchUp();
}

void CHouse::FitFuse(std::uint32_t ratingMilliAmpere) {
  const CMutexLock lock(mMutex);
  CatchUp();
  mFuse = CMainFuse(ratingMilliAmpere);
  mChargePoint.Change([](CVehicle& vehicle) { vehicle.SetSupplied(true); });
  CatchUp();
}

CHouse::SView CHouse::Present() {
  if (mFuse.HasTripped()) return {{}, {}, {}, mFuse};
  SView view{mLoad, mChargePoint.View().draw, {}, mFuse};
  for (std::size_t i = 0; i < view.total.size(); ++i) view.total[i] = view.load[i] + view.vehicle[i];
  return view;
}

CHouse::SView CHouse::CatchUp() {
  const auto span = std::chrono::duration_cast<Milliseconds>(mClock.Now() - mUpTo);
  mUpTo += span;
  SView view = Present();
  if (mFuse.HasTripped()) return view;
  mFuse.Advance(span, view.total);
  if (const auto phase = mFuse.TrippedPhase()) {
    CutOff(*phase, view.total[*phase - 1]);
    return Present();
  }
  view.fuse = mFuse;
  return view;
}

void CHouse::CutOff(std::uint32_t phase, std::uint32_t milliAmpere) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(mUpTo - mBegin).count();
  LOG_ERROR("The main fuse of {} mA has tripped: {} mA on L{}, {} s after the start",
            mFuse.RatingMilliAmpere(), milliAmpere, phase, seconds);
  mChargePoint.Change([](CVehicle& vehicle) { vehicle.SetSupplied(false); });
}
