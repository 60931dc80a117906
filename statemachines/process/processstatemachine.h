#pragma once

#include <functional>

#include "ipc/currentcontrol.pb.h"

#include "platform/worker/worker.h"
#include "statemachines/process/processevent.h"
#include "statemachines/process/processstate.h"
#include "statemachines/process/processtransitions.h"

class IProcessActions;

/// Leads the process through its states at the supervisor's requests, which it carries out one after the
/// other on a worker of its own. docs/process-states.md says what each request does in each state. An action
/// that throws ends the process.
class CProcessStateMachine {
 public:
  /// `terminated` is called once, on the worker, when the process has come to its end. Scheduler and actions
  /// outlive the machine.
  CProcessStateMachine(IScheduler& scheduler, IProcessActions& actions, std::function<void()> terminated);
  ~CProcessStateMachine();
  CProcessStateMachine(const CProcessStateMachine&) = delete;
  CProcessStateMachine& operator=(const CProcessStateMachine&) = delete;

  /// Begins to carry out requests; earlier ones have waited for it.
  void Start();
  /// Returns when no action is running any more. Requests that still wait are dropped, later ones refused.
  void Stop();

  /// Waits until the request was carried out; any thread. False, with a warning, when it does not fit the
  /// state or the machine is stopped; false when the work failed. From inside an action nothing fits.
  bool Request(EProcessEvent event);

  /// Lets a request be carried out later; any thread.
  void Post(EProcessEvent event);
  void PostSetMeasurementSourceConnection(const ipc::MMeasurementSource& connection);

  /// Any thread, without waiting.
  EProcessState State() const;
  /// Whether the components are at work.
  bool IsEnabled() const;

 private:
  CProcessTransitions mTransitions;
  CWorker mWorker;
};
