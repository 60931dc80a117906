#include "simulation/groupsettlingrule.h"

#include <fmt/format.h>

void CGroupSettlingRule::OnSecond(const SGroupMoment& moment) {
  if (moment.Calm() < kSettled + moment.SlowestVehicle() || !moment.DoFallbacksFit()) {
    mCurrents.clear();
    mAreTurnsTaken = mIsRestBroken = mIsUseBroken = false;
    mUsedUntil = moment.at;
    return;
  }
  CheckRest(moment);
  CheckUse(moment);
}

void CGroupSettlingRule::CheckRest(const SGroupMoment& moment) {
  const bool isFirst = mCurrents.empty();
  mCurrents.resize(moment.stations.size());
  for (const SGroupStationMoment& station : moment.stations)
    mAreTurnsTaken = mAreTurnsTaken || !station.IsServed();
  for (std::size_t i = 0; i < mCurrents.size(); ++i) {
    const SGroupStationMoment& station = moment.stations[i];
    const std::uint32_t can = station.Wants() ? station.vehicle->maxMilliAmpere : 0;
    const std::uint32_t before = std::exchange(mCurrents[i], std::min(station.limitMilliAmpere, can));
    if (isFirst || before == mCurrents[i] || mAreTurnsTaken || std::exchange(mIsRestBroken, true)) continue;
    Violate(moment.at, fmt::format("station {} from {} to {} mA after {} s", i + 1, before, mCurrents[i],
                                   moment.Calm().count() / 1000));
  }
}

void CGroupSettlingRule::CheckUse(const SGroupMoment& moment) {
  const std::string who = WhoHasTooLittle(moment);
  if (who.empty()) mUsedUntil = moment.at;
  if (moment.at - mUsedUntil < kHandOver + moment.SlowestVehicle() || std::exchange(mIsUseBroken, true))
    return;
  Violate(moment.at, who);
}

std::string CGroupSettlingRule::WhoHasTooLittle(const SGroupMoment& moment) const {
  for (std::size_t i = 0; i < moment.stations.size(); ++i) {
    const SGroupStationMoment& station = moment.stations[i];
    if (!station.Wants() || station.limitMilliAmpere >= station.vehicle->maxMilliAmpere) continue;
    const std::uint32_t more = moment.Unused(station);
    const std::uint32_t worthIt =
        station.IsServed() ? kUnused : SGroupStationMoment::kLeastMilliAmpere + kUnused;
    if (more >= worthIt)
      return fmt::format("station {} may take {} mA, and {} mA more are left", i + 1,
                         station.limitMilliAmpere, more);
  }
  return {};
}
