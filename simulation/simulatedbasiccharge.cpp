#include "simulation/simulatedbasiccharge.h"

#include "platform/log/log.h"

namespace {

constexpr std::uint32_t kAllPhases = 3;

ipc::EChargingState ToChargingState(CVehicle::EState state) {
  switch (state) {
    case CVehicle::EState::Absent:
      return ipc::EChargingStateNoVehicle;
    case CVehicle::EState::Charging:
      return ipc::EChargingStateCharging;
    case CVehicle::EState::Connected:
    case CVehicle::EState::Full:
      break;
  }
  return ipc::EChargingStateConnected;
}

ipc::MResult Answer(bool success) {
  ipc::MResult result;
  result.set_code(success ? 0 : 1);
  return result;
}

}  // namespace

CSimulatedBasicCharge::CSimulatedBasicCharge(const IClock& clock, CChargePoint& chargePoint)
    : mClock(clock), mChargePoint(chargePoint) {}

std::optional<CSimulatedBasicCharge::SArrival> CSimulatedBasicCharge::LastArrival() const {
  const CMutexLock lock(mMutex);
  return mLastArrival;
}

void CSimulatedBasicCharge::TellChargingState(CVehicle::EState state) {
  const ipc::EChargingState newState = ToChargingState(state);
  {
    const CMutexLock lock(mMutex);
    if (mToldState == newState) return;
    mToldState = newState;
  }
  ipc::MChargingState notification;
  notification.set_state(newState);
  mChargingState.Notify(notification);
}

ipc::MResult CSimulatedBasicCharge::SetChargeCurrent(const ipc::MChargeCurrent& request) {
  const bool known = request.number_of_phases() == 1 || request.number_of_phases() == kAllPhases;
  if (!known) {
    LOG_WARNING("Charge control refuses a setpoint of {} mA on {} phases", request.milliampere(),
                request.number_of_phases());
  }
  const SArrival arrival{mClock.Now(), request.milliampere(), request.number_of_phases(), known && !mRefuse};
  if (arrival.taken) mChargePoint.Offer(arrival.milliAmpere, arrival.phases);
  {
    const CMutexLock lock(mMutex);
    mLastArrival = arrival;
  }
  if (mOnArrival) mOnArrival(arrival);
  return Answer(arrival.taken);
}

ipc::MResult CSimulatedBasicCharge::StopCharging(const ipc::MEmpty&) {
  mChargePoint.Change([](CVehicle& vehicle) { vehicle.Stop(); });
  return Answer(true);
}
