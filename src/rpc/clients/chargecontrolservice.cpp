#include "src/rpc/clients/chargecontrolservice.h"

#include <utility>

#include "platform/log/log.h"

namespace {

constexpr std::uint32_t kFailure = 1;

}  // namespace

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

void CChargeControlService::OnLink(bool established) {
  if (established) {
    mWorker.NonBlockingCall([this] { HandOverAgain(); });
  } else {
    mWorker.NonBlockingCall([this] {
      CMutexLock lock(mMutex);
      mPending = mNewest.has_value();
    });
  }
}

void CChargeControlService::HandOverAgain() {
  CMutexLock lock(mMutex);
  if (!mPending) return;
  const bool taken = HandOver().code() != kFailure;
  if (!mPending) {
    LOG_INFO("Charge control was given the setpoint of {} mA on {} phases again and {} it",
             mNewest->milliampere(), mNewest->number_of_phases(), taken ? "took" : "refused");
  }
}

ipc::MResult CChargeControlService::HandOver() {
  auto answer = mPeer.SetChargeCurrent(*mNewest);
  mPending = !answer.IsOk();
  if (mPending) answer.value.set_code(kFailure);
  return answer.value;
}
