#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "ipc/genericcontrol.service.h"

#include "platform/rpc/communicationhost.h"
#include "platform/worker/worker.h"

/// The station's supervisor towards current control: brings it where it is wanted, as often as that takes,
/// and brings it there again when it was restarted. That it is away before it was seen and after it was told
/// to end is no news, unless it does not come. Any thread.
class CSupervisor {
 public:
  enum class EGoal {
    Enabled,     ///< initialised and enabled
    Disabled,    ///< its components at rest
    Terminated,  ///< ended: it answers no more
  };
  /// How often it looks while it waits for the goal.
  static constexpr Milliseconds kPeriod{100};
  /// How long it rests after a refusal.
  static constexpr Milliseconds kRest{2000};
  /// How often it usually looks once there.
  static constexpr Milliseconds kWatchPeriod{2000};

  /// How long current control may take to be there.
  static constexpr Milliseconds kPatience{5000};

  CSupervisor(IScheduler& scheduler, Rpc::ICommunicationHost& host, Milliseconds watchPeriod = kWatchPeriod);

  void Start();
  void Stop();

  /// From now on works towards this goal. `reached` is called once on the supervisor's worker, unless another
  /// goal is given before that.
  void SetGoal(EGoal goal, std::function<void()> reached = {});

 private:
  enum class EOutcome { Reached, OnTheWay, Refused };

  Milliseconds PeriodAfter(EOutcome outcome) const;
  void Step();
  EOutcome Work();
  EOutcome WorkTowardsEnabled(const ipc::MProcessState& state);
  EOutcome WorkTowardsTerminated(const Rpc::SResult<ipc::MProcessState>& state);
  void StepEvery(Milliseconds period);
  void NotePresence(bool present);

  const IClock& mClock;
  const Milliseconds mWatchPeriod;
  const std::shared_ptr<Rpc::CClient> mPeer;
  ipc::CGenericControlClient mControl;
  // Bound to the worker.
  EGoal mGoal = EGoal::Enabled;
  std::function<void()> mReached;
  bool mGoalReached = false;
  Milliseconds mPeriod{0};
  std::optional<TimePoint> mPatientUntil;  // none: it was there, or was missed
  CCallHandle mStepping;
  CWorker mWorker;
};
