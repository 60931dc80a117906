#include "statemachines/process/processstatemachine.h"

#include <utility>

#include "platform/log/log.h"

namespace {

constexpr auto kClass = "CProcessStateMachine";

void WarnOfStopped(EProcessEvent event) {
  LOG_WARNING("{} request dropped: the process state machine is stopped", ToText(event));
}

}  // namespace

CProcessStateMachine::CProcessStateMachine(IScheduler& scheduler, IProcessActions& actions,
                                           std::function<void()> terminated)
    : mTransitions(actions, std::move(terminated)), mWorker(scheduler, "ProcessState") {}

CProcessStateMachine::~CProcessStateMachine() = default;

void CProcessStateMachine::Start() {
  LOG_ENTRY(kClass);
  mWorker.Start();
}

void CProcessStateMachine::Stop() {
  LOG_ENTRY(kClass);
  mWorker.Stop();
}

bool CProcessStateMachine::Request(EProcessEvent event) {
  LOG_ENTRY(kClass);
  bool done = false;
  if (!mWorker.BlockingCall([&] { done = mTransitions.Handle(event); })) WarnOfStopped(event);
  return done;
}

void CProcessStateMachine::Post(EProcessEvent event) {
  LOG_ENTRY(kClass);
  if (!mWorker.NonBlockingCall([this, event] { mTransitions.Handle(event); })) WarnOfStopped(event);
}

void CProcessStateMachine::PostSetMeasurementSourceConnection(const ipc::MMeasurementSource& connection) {
  LOG_ENTRY(kClass);
  constexpr auto kEvent = EProcessEvent::ExtSetMeasurementSourceConnection;
  if (!mWorker.NonBlockingCall([this, connection] { mTransitions.Handle(kEvent, connection); })) {
    WarnOfStopped(kEvent);
  }
}

EProcessState CProcessStateMachine::State() const {
  return mTransitions.State();
}

bool CProcessStateMachine::IsEnabled() const {
  return mTransitions.IsEnabled();
}
