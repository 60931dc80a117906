#include "simulation/runtotals.h"

#include <algorithm>
#include <chrono>
#include <utility>

void SRunTotals::Add(const SRunTotals& other) {
  chargedWattHours += other.chargedWattHours;
  solarWattHours += other.solarWattHours;
  setpoints += other.setpoints;
  phaseSwitches += other.phaseSwitches;
  stops += other.stops;
  highestHeat = std::max(highestHeat, other.highestHeat);
}

void CRunTotals::OnSetpoint(std::uint32_t phases) {
  ++mTotals.setpoints;
  const std::uint32_t before = std::exchange(mPhases, phases);
  if (before != 0 && before != phases) ++mTotals.phaseSwitches;
}

void CRunTotals::OnMoment(const SStationMoment& moment) {
  mChargedWatt += moment.vehicleWatt;
  mSolarWatt += std::clamp(moment.surplusWatt, 0, std::max(moment.vehicleWatt, 0));
  const bool wasStopped = std::exchange(mIsStopped, moment.isStopped);
  if (moment.isStopped && !wasStopped) ++mTotals.stops;
  mTotals.highestHeat = moment.highestHeat;
}

SRunTotals CRunTotals::Get() const {
  const std::int64_t periodsPerHour = std::chrono::hours(1) / mPeriod;
  SRunTotals totals = mTotals;
  totals.chargedWattHours = static_cast<std::uint64_t>(mChargedWatt / periodsPerHour);
  totals.solarWattHours = static_cast<std::uint64_t>(mSolarWatt / periodsPerHour);
  return totals;
}
