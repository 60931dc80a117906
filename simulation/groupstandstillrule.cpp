#include "simulation/groupstandstillrule.h"

#include <fmt/format.h>

void CGroupStandstillRule::OnSecond(const SGroupMoment& moment) {
  if (!IsEverybodyStopped(moment)) {
    mRunningUntil = moment.at;
    mIsBroken = false;
  }
  const Milliseconds stopped = moment.at - mRunningUntil;
  if (stopped <= HandOver(moment) || std::exchange(mIsBroken, true)) return;
  Violate(moment.at, fmt::format("for {} s with {} mA", stopped.count() / 1000,
                                 *std::ranges::min_element(moment.capacity)));
}

Milliseconds CGroupStandstillRule::HandOver(const SGroupMoment& moment) {
  return moment.SlowestVehicle() + (moment.isNoisy || !moment.isWhole ? kHandOverInTrouble : kHandOver);
}

bool CGroupStandstillRule::IsEverybodyStopped(const SGroupMoment& moment) const {
  bool isAnyoneWaiting = false;
  for (const SGroupStationMoment& station : moment.stations) {
    if (station.IsServed()) return false;
    if (!station.Wants()) continue;
    const Milliseconds since = std::max({station.wantsSince, station.reachableSince, moment.capacitySince});
    if (station.isReachable && station.isLed && moment.HasRoomFor(station) && moment.at - since >= kSettled)
      isAnyoneWaiting = true;
  }
  return isAnyoneWaiting;
}
