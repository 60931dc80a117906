#pragma once

#include <functional>
#include <vector>

#include <json/value.h>

#include "ipc/currentcontrol.service.h"

#include "platform/rpc/communicationhost.h"
#include "platform/worker/worker.h"
#include "simulation/scenario.h"
#include "simulation/station.h"
#include "simulation/supervisor.h"

/// Lets a scenario happen at a station. Limits go the way that any other service's limits go.
class CScenarioPlayer {
 public:
  /// Changes the settings that current control reads; keys that are null go.
  using SettingsChanger = std::function<void(const Json::Value& values)>;
  /// How often the roof gives what the sun lets it.
  static constexpr Milliseconds kRoofPeriod{1000};

  CScenarioPlayer(IScheduler& scheduler, Rpc::ICommunicationHost& host, CStation& station,
                  CSupervisor& supervisor, SettingsChanger changeSettings);

  /// The scenario's time begins now. Any thread, once.
  void Play(const SScenario& scenario);
  void Stop();

 private:
  void Do(const SScenario::SSetLimit& action);
  void Do(const SScenario::SClearLimit& action);
  void Do(const SScenario::SVehicleChange& change);
  void Do(const SScenario::SCable& cable);
  void Do(const SScenario::SPpState& action);
  void Do(const SScenario::STemperatures& temperatures);
  void Do(const SScenario::SChargeControl& action);
  void Do(const SScenario::SSupervisor& action);
  void Do(const SScenario::SHouseChange& change);
  void Do(const SScenario::SMeteringChip& action);
  void Do(const SScenario::SMeter& action);
  void Do(const SScenario::SRoof& roof);
  void Do(const SScenario::SStationMeter& action);
  void Do(const SScenario::SSettings& settings);

  const IClock& mClock;
  CStation& mStation;
  CSupervisor& mSupervisor;
  ipc::CCurrentControlClient mCurrentControl;
  const SettingsChanger mChangeSettings;
  TimePoint mBegin{};
  std::vector<CCallHandle> mCalls;
  CCallHandle mShining;
  CWorker mWorker;
};
