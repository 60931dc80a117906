#include "simulation/groupfindingrule.h"

#include <fmt/format.h>

Milliseconds CGroupFindingRule::Bound(const SGroupMoment& moment) const {
  const Milliseconds found = moment.isNoisy ? kFoundInNoise : kFound;
  return moment.plan.medium == SGroupPlan::EMedium::Network ? found : found + mMostLost * kWalk;
}

void CGroupFindingRule::OnSecond(const SGroupMoment& moment) {
  mIsBroken.resize(moment.stations.size());
  const auto isLost = [](const SGroupStationMoment& station) {
    return station.isReachable && !station.isLed;
  };
  const auto lost = static_cast<std::uint32_t>(std::ranges::count_if(moment.stations, isLost));
  mMostLost = lost == 0 ? 0 : std::max(mMostLost, lost);
  for (std::size_t i = 0; i < mIsBroken.size(); ++i) {
    const SGroupStationMoment& station = moment.stations[i];
    if (!isLost(station)) {
      mIsBroken[i] = false;
      continue;
    }
    const Milliseconds since = std::max(station.reachableSince, station.answered.value_or(Milliseconds(0)));
    if (moment.at - since <= Bound(moment) || mIsBroken[i]) continue;
    mIsBroken[i] = true;
    Violate(moment.at,
            fmt::format("station {} was not led for {} s", i + 1, (moment.at - since).count() / 1000));
  }
}
