#pragma once

#include <vector>

#include "ipc/currentcontrol.service.h"

#include "platform/rpc/communicationhost.h"
#include "platform/worker/worker.h"
#include "simulation/scenario.h"
#include "simulation/station.h"
#include "simulation/supervisor.h"

/// Lets a scenario happen at a station. Limits go the way that any other service's limits go.
class CScenarioPlayer {
 public:
  CScenarioPlayer(IScheduler& scheduler, Rpc::ICommunicationHost& host, CStation& station,
                  CSupervisor& supervisor);

  /// The scenario's time begins now. Any thread, once.
  void Play(const SScenario& scenario);
  void Stop();

 private:
  void Do(const SScenario::SSetLimit& action);
  void Do(const SScenario::SClearLimit& action);
  void Do(const SScenario::SVehicleChange& change);
  void Do(const SScenario::SPpState& action);
  void Do(const SScenario::STemperatures& temperatures);
  void Do(const SScenario::SChargeControl& action);
  void Do(const SScenario::SSupervisor& action);
  void Do(const SScenario::SHouseChange& change);
  void Do(const SScenario::SMeteringChip& action);
  void Do(const SScenario::SMeter& action);

  CStation& mStation;
  CSupervisor& mSupervisor;
  ipc::CCurrentControlClient mCurrentControl;
  std::vector<CCallHandle> mCalls;
  CWorker mWorker;
};
