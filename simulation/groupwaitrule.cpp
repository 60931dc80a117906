#include "simulation/groupwaitrule.h"

#include <fmt/format.h>

void CGroupWaitRule::OnSecond(const SGroupMoment& moment) {
  mWaits.resize(moment.stations.size());
  const auto wanting = static_cast<std::uint32_t>(
      std::ranges::count_if(moment.stations, [](const auto& station) { return station.Wants(); }));
  for (std::size_t i = 0; i < mWaits.size(); ++i) {
    const SGroupStationMoment& station = moment.stations[i];
    SWait& wait = mWaits[i];
    if (!station.Wants() || !station.isReachable || station.IsServed() || !moment.HasRoomFor(station)) {
      wait = {.since = moment.at};
      continue;
    }
    wait.most = std::max(wait.most, wanting);
    const Milliseconds waited = moment.at - wait.since;
    if (waited <= wait.most * kTurn + kMargin || std::exchange(wait.isBroken, true)) continue;
    Violate(moment.at,
            fmt::format("station {} has waited for {} s among {}", i + 1, waited.count() / 1000, wait.most));
  }
}
