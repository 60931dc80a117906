#include "simulation/supervisor.h"

#include <utility>

#include "platform/log/log.h"

CSupervisor::CSupervisor(IScheduler& scheduler, Rpc::ICommunicationHost& host, Milliseconds watchPeriod)
    : mClock(scheduler),
      mWatchPeriod(watchPeriod),
      mPeer(host.CreateClient("CurrentControlGenCtrl")),
      mControl(mPeer),
      mWorker(scheduler, "Supervisor") {
  mPeer->ExpectAbsence(true);
}

void CSupervisor::Start() {
  mPatientUntil = mClock.Now() + kPatience;
  mWorker.Start();
}

void CSupervisor::Stop() {
  mWorker.Stop();
}

void CSupervisor::SetGoal(EGoal goal, std::function<void()> reached) {
  mWorker.NonBlockingCall([this, goal, reached = std::move(reached)] {
    mGoal = goal;
    mReached = reached;
    mGoalReached = false;
    if (goal == EGoal::Terminated) mPeer->ExpectAbsence(true);
    StepEvery(kPeriod);
    Step();
  });
}

void CSupervisor::StepEvery(Milliseconds period) {
  mPeriod = period;
  mStepping = mWorker.AddCall([this] { Step(); }, period, period);
}

void CSupervisor::Step() {
  const EOutcome outcome = Work();
  mGoalReached = outcome == EOutcome::Reached;
  const Milliseconds period = PeriodAfter(outcome);
  if (period != mPeriod) StepEvery(period);
  if (mGoalReached && mReached) std::exchange(mReached, {})();
}

Milliseconds CSupervisor::PeriodAfter(EOutcome outcome) const {
  switch (outcome) {
    case EOutcome::Reached:
      return mWatchPeriod;
    case EOutcome::OnTheWay:
      return kPeriod;
    case EOutcome::Refused:
      break;
  }
  return kRest;
}

CSupervisor::EOutcome CSupervisor::Work() {
  if (mGoal == EGoal::Terminated && mGoalReached) return EOutcome::Reached;
  const auto state = mControl.GetState({});
  if (mGoal == EGoal::Terminated) return WorkTowardsTerminated(state);
  NotePresence(state.IsOk());
  if (!state.IsOk()) return EOutcome::OnTheWay;
  if (mGoal == EGoal::Enabled) return WorkTowardsEnabled(state.value);
  if (mGoalReached || !state.value.enabled()) return EOutcome::Reached;
  return mControl.Disable({}).value.code() == 0 ? EOutcome::OnTheWay : EOutcome::Refused;
}

void CSupervisor::NotePresence(bool present) {
  const bool isMissed = !present && mPatientUntil && mClock.Now() >= *mPatientUntil;
  if (isMissed) LOG_WARNING("Current control has not come within {} ms; waiting on", kPatience.count());
  if (present) mPeer->ExpectAbsence(false);
  if (present || isMissed) mPatientUntil.reset();
}

CSupervisor::EOutcome CSupervisor::WorkTowardsEnabled(const ipc::MProcessState& state) {
  if (state.enabled()) return EOutcome::Reached;
  // Someone else may give orders too: what was reached once is asked for again only after a restart.
  if (mGoalReached && state.state() != ipc::EProcessUninitialized) return EOutcome::Reached;
  Rpc::SResult<ipc::MResult> answer;
  switch (state.state()) {
    case ipc::EProcessUninitialized:
      answer = mControl.Initialize({});
      break;
    case ipc::EProcessCommissioning:
      answer = mControl.Enable({});
      break;
    case ipc::EProcessRecovering:
      answer = mControl.Recover({});
      break;
    default:
      break;  // on its way already
  }
  return answer.value.code() == 0 ? EOutcome::OnTheWay : EOutcome::Refused;
}

CSupervisor::EOutcome CSupervisor::WorkTowardsTerminated(const Rpc::SResult<ipc::MProcessState>& state) {
  if (!state.IsOk()) return EOutcome::Reached;
  if (state.value.state() != ipc::EProcessTerminating) mControl.Terminate({});
  return EOutcome::OnTheWay;
}
