#include "tools/currentcontrolsim/scenariorun.h"

#include <chrono>
#include <utility>

namespace {

constexpr Milliseconds kAfterwards = std::chrono::hours(1);

}  // namespace

CScenarioRun::CScenarioRun(const CVirtualStation::SFiles& files, CStationDay::Observer observer)
    : mObserver(std::move(observer)), mStation(files), mStationObserver(mStation) {
  mStation.Peers().BasicCharge().OnArrival([this](const CSimulatedBasicCharge::SArrival& arrival) {
    if (arrival.taken) mTotals.OnSetpoint(arrival.phases);
  });
}

SRunTotals CScenarioRun::Play(const SScenario& scenario, Milliseconds length) {
  mStation.Start();
  mStation.Play(scenario);
  if (mObserver) mObserver(mStationObserver.Look());
  while (mStation.Elapsed() < length) {
    mStation.RunFor(CStationDay::kCheckPeriod);
    Look();
  }
  return mTotals.Get();
}

Milliseconds CScenarioRun::UsualLength(const SScenario& scenario) {
  if (scenario.repeat > Milliseconds{0}) return scenario.repeat;
  const Milliseconds last = scenario.events.empty() ? Milliseconds{0} : scenario.events.back().at;
  return last + kAfterwards;
}

void CScenarioRun::Look() {
  const SStationMoment moment = mStationObserver.Look();
  mTotals.OnMoment(moment);
  if (mObserver) mObserver(moment);
}
