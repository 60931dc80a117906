#include "src/rpc/clients/chargecontrolservice.h"

#include <utility>

#include "platform/log/log.h"
#include "platform/rpc/result.h"

CChargeControlService::CChargeControlService(IScheduler& scheduler,
                                             const std::shared_ptr<Rpc::CClient>& client)
    : mPeer(client), mWorker(scheduler, "ChargeControl") {}

CChargeControlService::~CChargeControlService() {
  Disconnect();
}

void CChargeControlService::OnTaken(TakenCallback taken) {
  CMutexLock lock(mMutex);
  mTaken = std::move(taken);
}

void CChargeControlService::Connect(std::function<void(ipc::EChargingState)> chargingState) {
  mChargingState = std::move(chargingState);
  mWorker.Start();
  mRetry = mWorker.AddCall([this] { HandOverAgain(); }, kRetryInterval, kRetryInterval);
  // Out of step, so that whoever waits for the lock waits for one attempt only.
  mStopRetry = mWorker.AddCall([this] { HandOverStopAgain(); }, kRetryInterval * 3 / 2, kRetryInterval);
  mSubscription = mPeer.ChargingStateNotifications(
      {}, [this](const ipc::MChargingState& notification) { OnChargingState(notification.state()); },
      [this](bool established) { OnLink(established); });
}

void CChargeControlService::Disconnect() {
  mSubscription.reset();
  mWorker.Stop();
}

ipc::MResult CChargeControlService::SetChargeCurrent(std::uint32_t milliAmpere, std::uint8_t phases) {
  CMutexLock lock(mMutex);
  mNewest.emplace();
  mNewest->set_milliampere(milliAmpere);
  mNewest->set_number_of_phases(phases);
  return HandOver();
}

ipc::MResult CChargeControlService::EnsureTaken() {
  CMutexLock lock(mMutex);
  if (mNewest && mDelivery != EDelivery::Taken) return HandOver();
  return Rpc::ToResult(mNewest.has_value());
}

void CChargeControlService::StopCharging() {
  CMutexLock lock(mMutex);
  mIsStopPending = true;
  HandOverStop();
  if (!mIsStopPending) return;
  LOG_WARNING("Charge control could not be told to stop charging, {}",
              mIsVehicleGone ? "but the vehicle is gone" : "trying again");
  mIsStopPending = !mIsVehicleGone;
}

void CChargeControlService::OnChargingState(ipc::EChargingState state) {
  mWorker.NonBlockingCall([this, isGone = state == ipc::EChargingStateNoVehicle] {
    CMutexLock lock(mMutex);
    mIsVehicleGone = isGone;
    // Else the next vehicle would be stopped for it.
    if (!isGone || !mIsStopPending) return;
    mIsStopPending = false;
    LOG_INFO("The vehicle is gone, charge control need not stop charging any more");
  });
  mChargingState(state);
}

void CChargeControlService::OnLink(bool established) {
  if (established) {
    mWorker.NonBlockingCall([this] {
      HandOverStopAgain();
      HandOverAgain();
    });
  } else {
    mWorker.NonBlockingCall([this] {
      CMutexLock lock(mMutex);
      mDelivery = EDelivery::Pending;
      mIsVehicleGone = false;  // not as far as is known from now on
    });
  }
}

void CChargeControlService::HandOverStopAgain() {
  CMutexLock lock(mMutex);
  if (mIsStopPending) HandOverStop();
}

void CChargeControlService::HandOverAgain() {
  CMutexLock lock(mMutex);
  if (!mNewest || mDelivery != EDelivery::Pending) return;
  HandOver();
  if (mDelivery == EDelivery::Pending) return;
  LOG_INFO("Charge control was given the setpoint of {} mA on {} phases again and {} it",
           mNewest->milliampere(), mNewest->number_of_phases(),
           mDelivery == EDelivery::Taken ? "took" : "refused");
}

ipc::MResult CChargeControlService::HandOver() {
  const auto answer = mPeer.SetChargeCurrent(*mNewest);
  if (!answer.IsOk()) {
    mDelivery = EDelivery::Pending;
    // Who hangs may have heard it and offer it to the vehicle, which must not be blamed for that.
    const bool mayBeTaken = answer.status == Rpc::EStatus::Timeout;
    if (mayBeTaken && mNewest->milliampere() > mTakenMilliAmpere) TellTaken();
    return Rpc::Failure();
  }
  mDelivery = Rpc::IsFailure(answer.value) ? EDelivery::Refused : EDelivery::Taken;
  if (mDelivery == EDelivery::Taken) TellTaken();
  return answer.value;
}

void CChargeControlService::TellTaken() {
  mTakenMilliAmpere = mNewest->milliampere();
  if (mTaken) mTaken(mNewest->milliampere(), mNewest->number_of_phases());
}

void CChargeControlService::HandOverStop() {
  const auto answer = mPeer.StopCharging({});
  if (!answer.IsOk()) return;
  mIsStopPending = false;
  if (Rpc::IsFailure(answer.value)) {
    LOG_ERROR("Charge control refuses to stop charging");
  } else {
    LOG_INFO("Charge control was told to stop charging");
  }
}
