#include "tools/currentcontrolsim/scenariorun.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace {

constexpr std::int64_t kLooksPerHour = std::chrono::hours(1) / CStationDay::kCheckPeriod;
constexpr Milliseconds kAfterwards = std::chrono::hours(1);

}  // namespace

CScenarioRun::CScenarioRun(const CVirtualStation::SFiles& files, CStationDay::Observer observer)
    : mObserver(std::move(observer)), mStation(files), mStationObserver(mStation) {
  mStation.Peers().BasicCharge().OnArrival(
      [this](const CSimulatedBasicCharge::SArrival& arrival) { OnArrival(arrival); });
}

CStationDay::SOutcome CScenarioRun::Play(const SScenario& scenario, Milliseconds length) {
  mStation.Start();
  mStation.Play(scenario);
  Look();
  while (mStation.Elapsed() < length) {
    mStation.RunFor(CStationDay::kCheckPeriod);
    Look();
  }
  mOutcome.chargedWattHours = static_cast<std::uint64_t>(mChargedWattLooks / kLooksPerHour);
  mOutcome.solarWattHours = static_cast<std::uint64_t>(mSolarWattLooks / kLooksPerHour);
  mOutcome.highestHeat = mStation.House().View().fuse.HighestHeat();
  return std::move(mOutcome);
}

Milliseconds CScenarioRun::UsualLength(const SScenario& scenario) {
  if (scenario.repeat > Milliseconds{0}) return scenario.repeat;
  const Milliseconds last = scenario.events.empty() ? Milliseconds{0} : scenario.events.back().at;
  return last + kAfterwards;
}

void CScenarioRun::OnArrival(const CSimulatedBasicCharge::SArrival& arrival) {
  if (!arrival.taken) return;
  ++mOutcome.setpoints;
  if (mPhases != 0 && mPhases != arrival.phases) ++mOutcome.phaseSwitches;
  mPhases = arrival.phases;
}

void CScenarioRun::Look() {
  const SStationMoment moment = mStationObserver.Look();
  NoteStop();
  if (moment.at > Milliseconds{0}) {
    const std::int32_t watt = moment.surplusWatt + moment.gridWatt;  // the vehicle's
    mChargedWattLooks += watt;
    mSolarWattLooks += std::clamp(moment.surplusWatt, 0, std::max(watt, 0));
  }
  if (mObserver) mObserver(moment);
}

void CScenarioRun::NoteStop() {
  const bool isStopped = mStation.Peers().ChargePoint().View().stopped;
  if (isStopped && !mIsStopped) ++mOutcome.stops;
  mIsStopped = isStopped;
}
