#include "src/rpc/services/processcontrolservice.h"

#include <string>

#include "platform/log/log.h"
#include "statemachines/process/processstatemachine.h"

namespace {

constexpr auto kClassName = "CProcessControlService";

ipc::MResult Carry(EProcessEvent event, CProcessStateMachine& machine) {
  ipc::MResult result;
  result.set_code(machine.Request(event) ? 0 : 1);
  return result;
}

static_assert(static_cast<int>(EProcessState::Terminating) == ipc::EProcessTerminating, "the same numbers");

}  // namespace

CProcessControlService::CProcessControlService(CProcessStateMachine& machine) : mMachine(machine) {}

ipc::MResult CProcessControlService::Initialize(const ipc::MEmpty&) {
  LOG_ENTRY(kClassName);
  return Carry(EProcessEvent::ExtInitializeReq, mMachine);
}

ipc::MResult CProcessControlService::Enable(const ipc::MEmpty&) {
  LOG_ENTRY(kClassName);
  return Carry(EProcessEvent::ExtEnableReq, mMachine);
}

ipc::MResult CProcessControlService::Disable(const ipc::MEmpty&) {
  LOG_ENTRY(kClassName);
  return Carry(EProcessEvent::ExtDisableReq, mMachine);
}

ipc::MResult CProcessControlService::Recover(const ipc::MEmpty&) {
  LOG_ENTRY(kClassName);
  return Carry(EProcessEvent::ExtRecoverReq, mMachine);
}

ipc::MResult CProcessControlService::Terminate(const ipc::MEmpty&) {
  LOG_ENTRY(kClassName);
  return Carry(EProcessEvent::ExtTerminateReq, mMachine);
}

ipc::MResult CProcessControlService::Alive(const ipc::MEmpty&) {
  LOG_ENTRY(kClassName);
  return {};
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
