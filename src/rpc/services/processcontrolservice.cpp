#include "src/rpc/services/processcontrolservice.h"

#include <string>

#include "platform/log/log.h"
#include "platform/rpc/result.h"
#include "statemachines/process/processstatemachine.h"

namespace {

constexpr auto kClassName = "CProcessControlService";

static_assert(static_cast<int>(EProcessState::Terminating) == ipc::EProcessTerminating, "the same numbers");

}  // namespace

CProcessControlService::CProcessControlService(CProcessStateMachine& machine) : mMachine(machine) {}

ipc::MResult CProcessControlService::Initialize(const ipc::MEmpty&) {
  LOG_ENTRY(kClassName);
  return Rpc::ToResult(mMachine.Request(EProcessEvent::ExtInitializeReq));
}

ipc::MResult CProcessControlService::Enable(const ipc::MEmpty&) {
  LOG_ENTRY(kClassName);
  return Rpc::ToResult(mMachine.Request(EProcessEvent::ExtEnableReq));
}

ipc::MResult CProcessControlService::Disable(const ipc::MEmpty&) {
  LOG_ENTRY(kClassName);
  return Rpc::ToResult(mMachine.Request(EProcessEvent::ExtDisableReq));
}

ipc::MResult CProcessControlService::Recover(const ipc::MEmpty&) {
  LOG_ENTRY(kClassName);
  return Rpc::ToResult(mMachine.Request(EProcessEvent::ExtRecoverReq));
}

ipc::MResult CProcessControlService::Terminate(const ipc::MEmpty&) {
  LOG_ENTRY(kClassName);
  return Rpc::ToResult(mMachine.Request(EProcessEvent::ExtTerminateReq));
}

ipc::MResult CProcessControlService::Alive(const ipc::MEmpty&) {
  LOG_ENTRY(kClassName);
  return Rpc::Success();
}

ipc::MProcessState CProcessControlService::GetState(const ipc::MEmpty&) {
  LOG_ENTRY(kClassName);
  const EProcessState state = mMachine.State();
  ipc::MProcessState message;
  message.set_state(static_cast<ipc::EProcessState>(state));
  message.set_enabled(mMachine.IsEnabled());
  message.set_state_name(std::string(ToText(state)));
  return message;
}
