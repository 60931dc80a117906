#include "simulation/house.h"

#include <algorithm>
#include <cstdlib>

#include "platform/log/log.h"

CHouse::CHouse(const IClock& clock, CChargePoint& chargePoint, std::uint32_t fuseMilliAmpere)
    : mClock(clock), mChargePoint(chargePoint), mBegin(clock.Now()), mFuse(fuseMilliAmpere), mUpTo(mBegin) {}

CHouse::SView CHouse::View() {
  const CMutexLock lock(mMutex);
  CatchUp();
  return {mFlow.load,
          mFlow.vehicle,
          mFlow.generation,
          mFlow.net,
          mFlow.total,
          mFuse,
          std::max(mFormerHeat, mFuse.HighestHeat())};
}

CHouse::Currents CHouse::AtTheConnection() {
  const CMutexLock lock(mMutex);
  CatchUp();
  return mFlow.total;
}

CHouse::NetCurrents CHouse::NetAtTheConnection() {
  const CMutexLock lock(mMutex);
  CatchUp();
  return mFlow.net;
}

bool CHouse::Look() {
  const CMutexLock lock(mMutex);
  CatchUp();
  return mFuse.CarriesTooMuch(mFlow.total);
}

void CHouse::SetLoads(const Currents& milliAmpere) {
  const CMutexLock lock(mMutex);
  CatchUp();
  mLoad = milliAmpere;
  Change();
}

void CHouse::SetLoad(std::uint32_t phase, std::uint32_t milliAmpere) {
  const CMutexLock lock(mMutex);
  CatchUp();
  mLoad.at(phase - 1) = milliAmpere;
  Change();
}

void CHouse::SetGeneration(const Currents& milliAmpere) {
  const CMutexLock lock(mMutex);
  if (milliAmpere == mGeneration) return;
  CatchUp();
  mGeneration = milliAmpere;
  Change();
}

void CHouse::FitFuse(std::uint32_t ratingMilliAmpere) {
  const CMutexLock lock(mMutex);
  CatchUp();
  mFormerHeat = std::max(mFormerHeat, mFuse.HighestHeat());
  mFuse = CMainFuse(ratingMilliAmpere);
  mChargePoint.Change([](CVehicle& vehicle) { vehicle.SetSupplied(true); });
  Change();
}

void CHouse::CatchUp() {
  const auto span = std::chrono::duration_cast<Milliseconds>(mClock.Now() - mUpTo);
  mUpTo += span;
  if (mFuse.HasTripped()) return;
  const SFlow before = mFlow;
  Flow();
  mFuse.Advance(span, before.isSteady ? before.total : mFlow.total);
  CutOffWhenTripped();
}

void CHouse::Flow() {
  mFlow.load = mLoad;
  const CChargePoint::SView vehicle = mChargePoint.View();
  mFlow.vehicle = vehicle.draw;
  mFlow.isSteady = vehicle.steady;
  mFlow.generation = mGeneration;
  for (std::size_t i = 0; i < mFlow.total.size(); ++i) {
    const std::uint32_t used = mFlow.load[i] + mFlow.vehicle[i];
    mFlow.net[i] = static_cast<std::int32_t>(used) - static_cast<std::int32_t>(mFlow.generation[i]);
    mFlow.total[i] = static_cast<std::uint32_t>(std::abs(mFlow.net[i]));
  }
}

void CHouse::Change() {
  if (mFuse.HasTripped()) return;
  Flow();
  mFuse.Advance(Milliseconds{0}, mFlow.total);  // it may be too much at once
  CutOffWhenTripped();
}

void CHouse::CutOffWhenTripped() {
  const auto phase = mFuse.TrippedPhase();
  if (!phase) return;
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(mUpTo - mBegin).count();
  LOG_ERROR("The main fuse of {} mA has tripped: {} mA on L{}, {} s after the start",
            mFuse.RatingMilliAmpere(), mFlow.total[*phase - 1], *phase, seconds);
  mChargePoint.Change([](CVehicle& vehicle) { vehicle.SetSupplied(false); });
  mFlow = {};
}
