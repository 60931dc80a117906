#pragma once

#include <functional>
#include <memory>

#include "ipc/currentcontrol.pb.h"

#include "statemachines/process/processevent.h"
#include "statemachines/process/processstate.h"

class IProcessActions;

/// The states of the process and what leads from one to the next. One thread handles, any thread asks where
/// it stands. The library that it is made with stays behind this class.
class CProcessTransitions {
 public:
  /// See `CProcessStateMachine`.
  CProcessTransitions(IProcessActions& actions, std::function<void()> terminated);
  ~CProcessTransitions();
  CProcessTransitions(const CProcessTransitions&) = delete;
  CProcessTransitions& operator=(const CProcessTransitions&) = delete;

  /// Does all that follows from a request; the connection is that of ExtSetMeasurementSourceConnection.
  /// False, with a warning, when it does not fit the state, comes from inside an action or is no request
  /// (Int); false when the work failed.
  bool Handle(EProcessEvent event, const ipc::MMeasurementSource& connection = {});

  EProcessState State() const;
  bool IsEnabled() const;

 private:
  class CMachine;
  const std::unique_ptr<CMachine> mMachine;
};
