#include "src/components/vehiclewatch.h"

#include <utility>

#include "src/rpc/clients/stationmeter.h"

CVehicleWatch::CVehicleWatch(IScheduler& scheduler, const std::string& name, Milliseconds period,
                             SCalls calls)
    : mClock(scheduler), mPeriod(period), mCalls(std::move(calls)), mWorker(scheduler, name) {
  mWorker.Start();
}

// The lock is held while posting, so that the worker does what was said last.
void CVehicleWatch::Enable() {
  const CMutexLock lock(mMutex);
  mIsEnabled = true;
  mWorker.NonBlockingCall([this] { Begin(); });
}

void CVehicleWatch::Disable() {
  const CMutexLock lock(mMutex);
  mIsEnabled = false;
  mWorker.NonBlockingCall([this] { End(); });
}

bool CVehicleWatch::IsEnabled() const {
  const CMutexLock lock(mMutex);
  return mIsEnabled;
}

bool CVehicleWatch::HasStopped() const {
  const CMutexLock lock(mMutex);
  return mHasStopped;
}

void CVehicleWatch::SetChargingState(ipc::EChargingState state) {
  const CMutexLock lock(mMutex);
  mGone.reset();
  if (state != ipc::EChargingStateNoVehicle) return;
  mGone.emplace(mClock, kLongestStationMeterAge).Restart();
  mWorker.NonBlockingCall([this] { OnNoVehicle(); });
}

bool CVehicleWatch::IsVehicleGone() const {
  const CMutexLock lock(mMutex);
  return mGone && !mGone->HasExpired();
}

void CVehicleWatch::Stop() {
  {
    const CMutexLock lock(mMutex);
    mHasStopped = true;
  }
  mLooking.Cancel();
}

void CVehicleWatch::Begin() {
  if (!IsEnabled() || HasStopped()) return;
  const auto lookIfEnabled = [this] {
    if (IsEnabled()) mCalls.look();
  };
  mLooking = mWorker.AddCall(lookIfEnabled, mPeriod, mPeriod);
}

void CVehicleWatch::End() {
  mLooking.Cancel();
  mCalls.forget();
}

void CVehicleWatch::OnNoVehicle() {
  // Else what the vehicle drew might stop the next one.
  mCalls.forget();
  {
    const CMutexLock lock(mMutex);
    if (!std::exchange(mHasStopped, false)) return;
  }
  mCalls.unplugged();
  Begin();
}
