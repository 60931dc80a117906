#include "simulation/house.h"

#include "platform/log/log.h"

CHouse::CHouse(const IClock& clock, CChargePoint& chargePoint, std::uint32_t fuseMilliAmpere)
    : mClock(clock), mChargePoint(chargePoint), mBegin(clock.Now()), mFuse(fuseMilliAmpere), mUpTo(mBegin) {}

CHouse::SView CHouse::View() {
  const CMutexLock lock(mMutex);
  CatchUp();
  const SFlow flow = Flow();
  return {flow.load, flow.vehicle, flow.generation, flow.net, flow.total, mFuse};
}

CHouse::Currents CHouse::AtTheConnection() {
  const CMutexLock lock(mMutex);
  CatchUp();
  return Flow().total;
}

CHouse::NetCurrents CHouse::NetAtTheConnection() {
  const CMutexLock lock(mMutex);
  CatchUp();
  return Flow().net;
}

void CHouse::Look() {
  const CMutexLock lock(mMutex);
  CatchUp();
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

void CHouse::SetGeneration(const Currents& milliAmpere) {
  const CMutexLock lock(mMutex);
  CatchUp();
  mGeneration = milliAmpere;
  CatchUp();
}

void CHouse::FitFuse(std::uint32_t ratingMilliAmpere) {
  const CMutexLock lock(mMutex);
  CatchUp();
  mFuse = CMainFuse(ratingMilliAmpere);
  mChargePoint.Change([](CVehicle& vehicle) { vehicle.SetSupplied(true); });
  CatchUp();
}

CHouse::SFlow CHouse::Flow() {
  SFlow flow{};
  if (mFuse.HasTripped()) return flow;
  flow.load = mLoad;
  flow.vehicle = mChargePoint.View().draw;
  flow.generation = mGeneration;
  for (std::size_t i = 0; i < flow.total.size(); ++i) {
    const std::uint32_t used = flow.load[i] + flow.vehicle[i];
    flow.net[i] = static_cast<std::int32_t>(used) - static_cast<std::int32_t>(flow.generation[i]);
    flow.total[i] = used > flow.generation[i] ? used - flow.generation[i] : flow.generation[i] - used;
  }
  return flow;
}

void CHouse::CatchUp() {
  const auto span = std::chrono::duration_cast<Milliseconds>(mClock.Now() - mUpTo);
  mUpTo += span;
  if (mFuse.HasTripped()) return;
  const Currents total = Flow().total;
  mFuse.Advance(span, total);
  if (const auto phase = mFuse.TrippedPhase()) CutOff(*phase, total[*phase - 1]);
}

void CHouse::CutOff(std::uint32_t phase, std::uint32_t milliAmpere) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(mUpTo - mBegin).count();
  LOG_ERROR("The main fuse of {} mA has tripped: {} mA on L{}, {} s after the start",
            mFuse.RatingMilliAmpere(), milliAmpere, phase, seconds);
  mChargePoint.Change([](CVehicle& vehicle) { vehicle.SetSupplied(false); });
}
