// Boost.MSM needs C++17 here: g++ does not take its constructors in C++20. log.h is C++20 and stays out.
#define BOOST_ALLOW_DEPRECATED_HEADERS
#define BOOST_BIND_GLOBAL_PLACEHOLDERS

#include "statemachines/process/processtransitions.h"

#include <atomic>
#include <functional>
#include <utility>

#include <boost/mpl/vector/vector30.hpp>
#include <boost/msm/back/state_machine.hpp>
#include <boost/msm/front/state_machine_def.hpp>

#include "statemachines/process/processactions.h"

namespace {

template <EProcessEvent Id>
struct SEvent {
  static constexpr EProcessEvent kId = Id;
};
using ClearConnection = SEvent<EProcessEvent::ExtClearMeasurementSourceConnection>;
using DisableReq = SEvent<EProcessEvent::ExtDisableReq>;
using EnableReq = SEvent<EProcessEvent::ExtEnableReq>;
using InitializeReq = SEvent<EProcessEvent::ExtInitializeReq>;
using RecoverReq = SEvent<EProcessEvent::ExtRecoverReq>;
using TerminateReq = SEvent<EProcessEvent::ExtTerminateReq>;
using DisablingDone = SEvent<EProcessEvent::IntDisablingDone>;
using EnablingDone = SEvent<EProcessEvent::IntEnablingDone>;
using EnablingFailed = SEvent<EProcessEvent::IntEnablingFailed>;
using InitializingDone = SEvent<EProcessEvent::IntInitializingDone>;
using InitializingFailed = SEvent<EProcessEvent::IntInitializingFailed>;
using RecoveringDone = SEvent<EProcessEvent::IntRecoveringDone>;
using RecoveringFailed = SEvent<EProcessEvent::IntRecoveringFailed>;
using TerminatingDone = SEvent<EProcessEvent::IntTerminatingDone>;
struct SetConnection : SEvent<EProcessEvent::ExtSetMeasurementSourceConnection> {
  ipc::MMeasurementSource connection;
};

/// Entering a state does the state's work.
template <EProcessState Id>
struct SState : boost::msm::front::state<> {
  template <class TEvent, class TMachine>
  void on_entry(const TEvent& /*event*/, TMachine& machine) {
    machine.Enter(Id);
  }
};
using Uninitialized = SState<EProcessState::Uninitialized>;
using Initializing = SState<EProcessState::Initializing>;
using Commissioning = SState<EProcessState::Commissioning>;
using Enabling = SState<EProcessState::Enabling>;
using Disabling = SState<EProcessState::Disabling>;
using Recovering = SState<EProcessState::Recovering>;
using Terminating = SState<EProcessState::Terminating>;

/// States, transitions and their work, on the worker. What the work raises is handled when the transition
/// that it belongs to has ended.
class CTransitions : public boost::msm::front::state_machine_def<CTransitions> {
 public:
  using no_exception_thrown = int;  // nothing is caught here: what an action throws ends the process
  using initial_state = Uninitialized;

  CTransitions(IProcessActions& actions, std::function<void()> terminated)
      : mActions(actions), mTerminated(std::move(terminated)) {}

  EProcessState State() const { return mState.Current(); }
  bool IsEnabled() const { return mEnabled.load(std::memory_order_acquire); }

  /// Does all that follows from the event. False: it does not fit, or the work failed. From inside the work
  /// nothing fits, since its outcome is still open.
  template <class TEvent>
  bool Process(const TEvent& event);
  bool Refuse(EProcessEvent event);

  void Enter(EProcessState state);
  template <class TEvent, class TMachine>
  void no_transition(const TEvent& /*event*/, TMachine& /*machine*/, int /*state*/) {
    mSucceeded = Refuse(TEvent::kId);
  }

 private:
  template <class TEvent>
  void Raise(const TEvent& event);
  template <class TDone, class TFailed>
  void RaiseOutcome(bool done);
  void DisableIfEnabled();

  void BeEnabled(const EnablingDone&) { mEnabled.store(true, std::memory_order_release); }
  void DisableAfterFailure(const EnablingFailed&);
  void Recover(const RecoverReq&) { RaiseOutcome<RecoveringDone, RecoveringFailed>(mActions.Recover()); }
  void Reinitialize(const InitializeReq&) { Recover({}); }
  void FailInitializing(const InitializingFailed&) { mSucceeded = false; }
  void FailRecovering(const RecoveringFailed&) { mSucceeded = false; }
  void Set(const SetConnection& event) { mActions.SetMeasurementSourceConnection(event.connection); }
  void Clear(const ClearConnection&) { mActions.ClearMeasurementSourceConnection(); }
  void Finish(const TerminatingDone&) { mTerminated(); }

  IProcessActions& mActions;
  const std::function<void()> mTerminated;
  StateMachinesUtility::CShownState<EProcessState> mState{"Process", EProcessState::Uninitialized};
  std::atomic<bool> mEnabled{false};
  bool mBusy = false;
  bool mSucceeded = false;

 public:
  // An `irow` stays in its state; one without an action finds already done what is asked for.
  using transition_table = boost::mpl::vector26<
      // clang-format off
       _row<Uninitialized, InitializeReq,      Initializing>,
       _row<Uninitialized, TerminateReq,       Terminating>,
       _row<Initializing,  InitializingDone,   Commissioning>,
      a_row<Initializing,  InitializingFailed, Recovering, &CTransitions::FailInitializing>,
      _irow<Commissioning, InitializeReq>,
      _irow<Commissioning, RecoverReq>,
      _irow<Commissioning, DisableReq>,
       _row<Commissioning, EnableReq,          Enabling>,
     a_irow<Commissioning, SetConnection,      &CTransitions::Set>,
     a_irow<Commissioning, ClearConnection,    &CTransitions::Clear>,
       _row<Commissioning, TerminateReq,       Terminating>,
     a_irow<Enabling,      EnablingDone,       &CTransitions::BeEnabled>,
      a_row<Enabling,      EnablingFailed,     Recovering, &CTransitions::DisableAfterFailure>,
      _irow<Enabling,      EnableReq>,
     a_irow<Enabling,      SetConnection,      &CTransitions::Set>,
     a_irow<Enabling,      ClearConnection,    &CTransitions::Clear>,
       _row<Enabling,      DisableReq,         Disabling>,
       _row<Enabling,      TerminateReq,       Terminating>,
       _row<Disabling,     DisablingDone,      Commissioning>,
     a_irow<Recovering,    RecoverReq,         &CTransitions::Recover>,
     a_irow<Recovering,    InitializeReq,      &CTransitions::Reinitialize>,
       _row<Recovering,    RecoveringDone,     Commissioning>,
     a_irow<Recovering,    RecoveringFailed,   &CTransitions::FailRecovering>,
       _row<Recovering,    TerminateReq,       Terminating>,
     a_irow<Terminating,   TerminatingDone,    &CTransitions::Finish>,
      _irow<Terminating,   TerminateReq>
      // clang-format on
      >;
};

using Machine = boost::msm::back::state_machine<CTransitions>;

template <class TEvent>
void CTransitions::Raise(const TEvent& event) {
  static_cast<Machine&>(*this).process_event(event);
}

template <class TDone, class TFailed>
void CTransitions::RaiseOutcome(bool done) {
  if (done) {
    Raise(TDone{});
  } else {
    Raise(TFailed{});
  }
}

template <class TEvent>
bool CTransitions::Process(const TEvent& event) {
  if (mBusy) return Refuse(TEvent::kId);
  mBusy = true;
  mSucceeded = true;
  Raise(event);
  mBusy = false;
  return mSucceeded;
}

bool CTransitions::Refuse(EProcessEvent event) {
  StateMachinesUtility::LogRefusedRequest(ToText(event), ToText(State()));
  return false;
}

void CTransitions::Enter(EProcessState state) {
  mState.Enter(state);
  switch (state) {
    case EProcessState::Initializing:
      return RaiseOutcome<InitializingDone, InitializingFailed>(mActions.Initialize());
    case EProcessState::Enabling:
      return RaiseOutcome<EnablingDone, EnablingFailed>(mActions.Enable());
    case EProcessState::Disabling:
      DisableIfEnabled();
      return Raise(DisablingDone{});
    case EProcessState::Terminating:
      DisableIfEnabled();
      mActions.Terminate();
      return Raise(TerminatingDone{});
    case EProcessState::Uninitialized:
    case EProcessState::Commissioning:
    case EProcessState::Recovering:
      return;
  }
}

void CTransitions::DisableIfEnabled() {
  if (mEnabled.exchange(false, std::memory_order_acq_rel)) mActions.Disable();
}

void CTransitions::DisableAfterFailure(const EnablingFailed&) {
  mSucceeded = false;
  mActions.Disable();
}

}  // namespace

class CProcessTransitions::CMachine : public Machine {
 public:
  using Machine::Machine;
};

CProcessTransitions::CProcessTransitions(IProcessActions& actions, std::function<void()> terminated)
    : mMachine(std::make_unique<CMachine>(std::ref(actions), std::move(terminated))) {
  mMachine->start();
}

CProcessTransitions::~CProcessTransitions() = default;

bool CProcessTransitions::Handle(EProcessEvent event, const ipc::MMeasurementSource& connection) {
  switch (event) {
    case EProcessEvent::ExtClearMeasurementSourceConnection:
      return mMachine->Process(ClearConnection{});
    case EProcessEvent::ExtDisableReq:
      return mMachine->Process(DisableReq{});
    case EProcessEvent::ExtEnableReq:
      return mMachine->Process(EnableReq{});
    case EProcessEvent::ExtInitializeReq:
      return mMachine->Process(InitializeReq{});
    case EProcessEvent::ExtRecoverReq:
      return mMachine->Process(RecoverReq{});
    case EProcessEvent::ExtSetMeasurementSourceConnection:
      return mMachine->Process(SetConnection{{}, connection});
    case EProcessEvent::ExtTerminateReq:
      return mMachine->Process(TerminateReq{});
    default:  // what the machine raises itself is nobody else's to ask for
      return mMachine->Refuse(event);
  }
}

EProcessState CProcessTransitions::State() const {
  return mMachine->State();
}

bool CProcessTransitions::IsEnabled() const {
  return mMachine->IsEnabled();
}
