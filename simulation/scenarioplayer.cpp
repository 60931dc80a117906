#include "simulation/scenarioplayer.h"

#include <variant>

#include "platform/log/log.h"
#include "src/limitationsources/limitationsource.h"
#include "src/limitationsources/limits.h"

CScenarioPlayer::CScenarioPlayer(IScheduler& scheduler, Rpc::ICommunicationHost& host, CStation& station,
                                 CSupervisor& supervisor)
    : mStation(station),
      mSupervisor(supervisor),
      mCurrentControl(host.CreateClient("CurrentControl")),
      mWorker(scheduler, "Scenario") {}

void CScenarioPlayer::Play(const SScenario& scenario) {
  // Added before the start, so that all of them count from one moment's due times in their order.
  for (const SScenario::SEvent& event : scenario.events) {
    mCalls.push_back(mWorker.AddCall(
        [this, action = event.action] { std::visit([this](const auto& what) { Do(what); }, action); },
        event.at, scenario.repeat));
  }
  mWorker.Start();
}

void CScenarioPlayer::Stop() {
  mWorker.Stop();
}

void CScenarioPlayer::Do(const SScenario::SSetLimit& action) {
  const auto answer = mCurrentControl.SetCurrentLimit(action.limit);
  if (answer.IsOk() && answer.value.code() != 0) {
    LOG_WARNING("Current control refused the limit of {} mA from {}", action.limit.limit(),
                SourceToString(action.limit.source()));
  }
}

void CScenarioPlayer::Do(const SScenario::SClearLimit& action) {
  ipc::MCurrentControlLimit request;
  request.set_source(action.source);
  const auto answer = mCurrentControl.ClearCurrentLimit(request);
  if (answer.IsOk() && answer.value.code() != 0) {
    LOG_WARNING("Current control did not clear the limit from {}", SourceToString(action.source));
  }
}

void CScenarioPlayer::Do(const SScenario::SVehicleChange& change) {
  mStation.ChargePoint().Change([&change](CVehicle& vehicle) {
    CVehicle::SProperties properties = vehicle.Properties();
    properties.maxMilliAmpere = change.maxMilliAmpere.value_or(properties.maxMilliAmpere);
    properties.phases = change.phases.value_or(properties.phases);
    properties.reaction = change.reaction.value_or(properties.reaction);
    properties.rampMilliAmperePerSecond =
        change.rampMilliAmperePerSecond.value_or(properties.rampMilliAmperePerSecond);
    vehicle.SetProperties(properties);
    if (change.connected) *change.connected ? vehicle.Connect() : vehicle.Disconnect();
    if (change.full) vehicle.SetFull(*change.full);
  });
}

void CScenarioPlayer::Do(const SScenario::SPpState& action) {
  mStation.Adac().SetPpState(action.state);
}

void CScenarioPlayer::Do(const SScenario::STemperatures& temperatures) {
  if (temperatures.adac) mStation.Adac().SetTemperature(*temperatures.adac);
  if (temperatures.netm) mStation.NetM().SetTemperature(*temperatures.netm);
  if (temperatures.mcu) mStation.SafetyMcuComm().SetTemperatures(*temperatures.mcu);
}

void CScenarioPlayer::Do(const SScenario::SChargeControl& action) {
  mStation.BasicCharge().Refuse(action.refuse);
}

void CScenarioPlayer::Do(const SScenario::SSupervisor& action) {
  mSupervisor.SetGoal(action.enable ? CSupervisor::EGoal::Enabled : CSupervisor::EGoal::Disabled);
}

void CScenarioPlayer::Do(const SScenario::SHouseChange& change) {
  CHouse& house = mStation.House();
  if (change.fuseAmpere) house.FitFuse(*change.fuseAmpere * std::uint32_t{kMilliAmperePerAmpere});
  for (std::uint32_t phase = 1; phase <= CVehicle::kPhases; ++phase) {
    if (const auto load = change.loadMilliAmpere[phase - 1]) house.SetLoad(phase, *load);
  }
}

void CScenarioPlayer::Do(const SScenario::SMeteringChip& action) {
  using EFate = SScenario::SMeteringChip::EFate;
  if (action.fate == EFate::Reset) mStation.Chip().Reset();
  if (action.fate == EFate::Vanish) mStation.Chip().Vanish();
  if (action.fate == EFate::Return) mStation.Chip().Return();
}

void CScenarioPlayer::Do(const SScenario::SMeter& action) {
  mStation.Meter().SetFate(action.fate);
}
