#include "simulation/phaseswitchrule.h"

#include <utility>

#include <fmt/format.h>

void CPhaseSwitchRule::OnSetpoint(Milliseconds at, std::uint32_t milliAmpere, std::uint32_t phases) {
  if ((milliAmpere == 0) != (mSetpoint == 0)) mBeginnings.push_back(at);
  if (mPhases != 0 && phases != mPhases) mSwitches.push_back(at);
  mSetpoint = milliAmpere;
  mPhases = phases;
}

void CPhaseSwitchRule::OnMoment(const SStationMoment& moment, const SDaySituation& situation) {
  const std::uint32_t interventions = situation.settingsChanges + situation.troubles;
  if (interventions != mInterventions) mBeginnings.push_back(moment.at);
  mInterventions = interventions;
  CheckDistance(moment, situation);
  for (Times* times : {&mSwitches, &mBeginnings}) {
    while (!times->empty() && times->front() <= moment.at - std::chrono::hours(1)) times->pop_front();
  }
  const std::size_t most = kMostPerHour + kMorePerBeginning * mBeginnings.size();
  if (mSwitches.size() <= most) return;
  Violate(moment.at, fmt::format("{} times within an hour, {} are allowed", mSwitches.size(), most));
  mSwitches.clear();
}

void CPhaseSwitchRule::CheckDistance(const SStationMoment& moment, const SDaySituation& situation) {
  if (mSwitches.empty() || mSwitches.back() == mChecked) return;
  const Milliseconds newest = mSwitches.back();
  const Milliseconds before = std::exchange(mChecked, newest);
  const bool isCharging = situation.limitOf(ipc::ECurrentControlSolarCharging).value_or(0) > 0;
  if (std::exchange(mWasCharging, isCharging) != isCharging) mBeginnings.push_back(newest);
  const bool hasBegun = !mBeginnings.empty() && mBeginnings.back() >= before;
  if (hasBegun || !situation.isHouseMeterGood || !situation.isStationMeterGood) return;
  if (newest - before >= kLeastApart) return;
  Violate(moment.at, fmt::format("{} ms after the change before", (newest - before).count()));
}
