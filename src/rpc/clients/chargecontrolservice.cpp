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

void CChargeControlService::Connect(std::function<void(ipc::EChargingState)> chargingState) {
  mWorker.Start();
  mRetry = mWorker.AddCall([this] { HandOverAgain(); }, kRetryInterval, kRetryInterval);
  mSubscription = mPeer.ChargingStateNotifications(
      {},
      [chargingState = std::move(chargingState)](const ipc::MChargingState& notification) {
        chargingState(notification.state());
      },
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

void CChargeControlService::OnLink(bool established) {
  if (established) {
    mWorker.NonBlockingCall([this] { HandOverAgain(); });
  } else {
    mWorker.NonBlockingCall([this] {
      CMutexLock lock(mMutex);
      mDelivery = EDelivery::Pending;
    });
  }
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
    return Rpc::Failure();
  }
  mDelivery = Rpc::IsFailure(answer.value) ? EDelivery::Refused : EDelivery::Taken;
  return answer.value;
}
