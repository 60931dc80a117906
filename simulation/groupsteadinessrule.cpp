#include "simulation/groupsteadinessrule.h"

#include <fmt/format.h>

void CGroupSteadinessRule::OnSecond(const SGroupMoment& moment) {
  if (moment.Calm() >= kSettled) return;
  mCalmSince = moment.at;
  mStations.assign(moment.stations.size(), {});
  for (std::size_t i = 0; i < mStations.size(); ++i) mStations[i].limit = moment.stations[i].limitMilliAmpere;
}

void CGroupSteadinessRule::OnChange(const SGroupMoment& moment, MediumStation number) {
  if (moment.Calm() < kSettled || mStations.empty()) return;
  SStation& own = mStations[number - 1];
  const SGroupStationMoment& station = moment.stations[number - 1];
  const std::uint32_t before = std::exchange(own.limit, station.limitMilliAmpere);
  if (before == own.limit) return;
  const bool wasRising = std::exchange(own.isRising, own.limit > before);
  if (!std::exchange(own.hasChanged, true) || wasRising == own.isRising) return;
  const Milliseconds calm = moment.at - mCalmSince;
  const auto most = station.Wants() ? kMostPerTurn * (1 + static_cast<std::uint32_t>(calm / kTurn))
                                    : kFirstOffers + static_cast<std::uint32_t>(calm / kOffer);
  if (++own.turns <= most || std::exchange(own.isBroken, true)) return;
  Violate(moment.at,
          fmt::format("station {}: up or down {} times in {} s", number, own.turns, calm.count() / 1000));
}
