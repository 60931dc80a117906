#pragma once

#include "ipc/genericcontrol.service.h"

class CProcessStateMachine;

/// The "CurrentControlGenCtrl" service: the supervisor's requests as requests to the process state machine.
/// Each answers when it was carried out. Any thread.
class CProcessControlService final : public ipc::IGenericControl {
 public:
  /// The machine outlives the service.
  explicit CProcessControlService(CProcessStateMachine& machine);

  ipc::MResult Initialize(const ipc::MEmpty& request) override;
  ipc::MResult Enable(const ipc::MEmpty& request) override;
  ipc::MResult Disable(const ipc::MEmpty& request) override;
  ipc::MResult Recover(const ipc::MEmpty& request) override;
  ipc::MResult Terminate(const ipc::MEmpty& request) override;
  /// Answers 0 without asking the state machine.
  ipc::MResult Alive(const ipc::MEmpty& request) override;
  ipc::MProcessState GetState(const ipc::MEmpty& request) override;

 private:
  CProcessStateMachine& mMachine;
};
