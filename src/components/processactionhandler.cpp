#include "src/components/processactionhandler.h"

#include <utility>

#include "platform/log/log.h"
#include "platform/rpc/result.h"
#include "src/components/currentlimiter.h"
#include "src/components/limiter.h"
#include "src/rpc/clients/chargecontrolservice.h"

namespace {

constexpr auto kClassName = "CProcessActionHandler";
constexpr float kSafeCurrent = 0.0F;

}  // namespace

CProcessActionHandler::CProcessActionHandler(std::shared_ptr<CCurrentControlConfig> config,
                                             std::shared_ptr<CCurrentLimiter> limiter,
                                             std::shared_ptr<IChargeControlService> chargeControl,
                                             Components components, std::function<void()> connectPeers)
    : mLimiter(std::move(limiter)),
      mChargeControl(std::move(chargeControl)),
      mComponents(std::move(components)),
      mConnectPeers(std::move(connectPeers)),
      mConnection(std::move(config)) {}

bool CProcessActionHandler::Initialize() {
  LOG_ENTRY(kClassName);
  mConnectPeers();
  return true;
}

bool CProcessActionHandler::Enable() {
  LOG_ENTRY(kClassName);
  for (; mEnabled < mComponents.size(); ++mEnabled) mComponents[mEnabled]->Enable();
  return true;
}

bool CProcessActionHandler::Recover() {
  LOG_ENTRY(kClassName);
  Disable();
  return Initialize();
}

void CProcessActionHandler::Disable() {
  LOG_ENTRY(kClassName);
  while (mEnabled > 0) mComponents[--mEnabled]->Disable();
}

void CProcessActionHandler::Terminate() {
  LOG_ENTRY(kClassName);
  // First, so that a component which takes its limit back does not let the vehicle go for a moment.
  mLimiter->SetLimitWithDefaultPhases(ipc::ECurrentControlHardwareLimit, kSafeCurrent);
  Disable();
  LeaveSafe();
}

void CProcessActionHandler::EnsureSafe() {
  LOG_ENTRY(kClassName);
  if (mLimiter->GetSetpoint().current > kSafeCurrent) LeaveSafe();
}

void CProcessActionHandler::LeaveSafe() {
  mLimiter->SetLimitWithDefaultPhases(ipc::ECurrentControlHardwareLimit, kSafeCurrent);
  // The arbiter says a setpoint once; 0 A may have been said before and not have arrived.
  if (!Rpc::IsFailure(mChargeControl->EnsureTaken())) {
    LOG_INFO("The vehicle is left with a setpoint of {} A", kSafeCurrent);
  } else {
    LOG_ERROR("The vehicle may go on: charge control did not take the last setpoint of {} A", kSafeCurrent);
  }
}

void CProcessActionHandler::SetMeasurementSourceConnection(const ipc::MMeasurementSource& connection) {
  LOG_ENTRY(kClassName);
  mConnection.Set(connection);
}

void CProcessActionHandler::ClearMeasurementSourceConnection() {
  LOG_ENTRY(kClassName);
  mConnection.Clear();
}
