#include "simulation/scenarioplayer.h"

#include <utility>
#include <variant>

#include "platform/log/log.h"
#include "src/limitationsources/limitationsource.h"
#include "src/limitationsources/limits.h"

CScenarioPlayer::CScenarioPlayer(IScheduler& scheduler, Rpc::ICommunicationHost& host, CStation& station,
                                 CSupervisor& supervisor, SettingsChanger changeSettings)
    : mClock(scheduler),
      mStation(station),
      mSupervisor(supervisor),
      mCurrentControl(host.CreateClient("CurrentControl")),
      mChangeSettings(std::move(changeSettings)),
      mWorker(scheduler, "Scenario") {}

void CScenarioPlayer::Play(const SScenario& scenario) {
  mBegin = mClock.Now();
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
    if (change.rampDownMilliAmperePerSecond)
      properties.rampDownMilliAmperePerSecond = change.rampDownMilliAmperePerSecond;
    properties.excessPercent = change.excessPercent.value_or(properties.excessPercent);
    properties.ignoresPhaseCount = change.ignoresPhaseCount.value_or(properties.ignoresPhaseCount);
    properties.inWholeAmperes = change.inWholeAmperes.value_or(properties.inWholeAmperes);
    vehicle.SetProperties(properties);
    if (change.connected) *change.connected ? vehicle.Connect() : vehicle.Disconnect();
    if (change.full) vehicle.SetFull(*change.full);
  });
}

void CScenarioPlayer::Do(const SScenario::SCable& cable) {
  cable.plugged ? mStation.PlugCable(*cable.plugged) : mStation.PullCable();
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

void CScenarioPlayer::Do(const SScenario::SRoof& roof) {
  mShining.Cancel();
  if (!roof.properties) return mStation.House().SetGeneration({});
  mShining = mWorker.AddCall(
      [this, sun = CSolarRoof(*roof.properties), begin = roof.begin] {
        const auto since = std::chrono::duration_cast<Milliseconds>(mClock.Now() - mBegin);
        mStation.House().SetGeneration(sun.CurrentsAt(begin + since));
      },
      Milliseconds{0}, kRoofPeriod);
}

void CScenarioPlayer::Do(const SScenario::SStationMeter& action) {
  mStation.StationMeter().Silence(action.silent);
}

void CScenarioPlayer::Do(const SScenario::SSettings& settings) {
  mChangeSettings(settings.values);
}
