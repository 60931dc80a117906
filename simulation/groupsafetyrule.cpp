#include "simulation/groupsafetyrule.h"

#include <fmt/ranges.h>

void CGroupSafetyRule::Check(const SGroupMoment& moment) {
  bool isBroken = false;
  for (std::size_t phase = 0; phase < moment.mayDraw.size(); ++phase)
    isBroken = isBroken || moment.mayDraw[phase] > moment.granted[phase];
  if (isBroken && !moment.DoFallbacksFit())
    isBroken = moment.Calm() >= kAllLed &&
               std::ranges::all_of(moment.stations, [](const auto& station) { return station.isLed; });
  if (isBroken && !mIsBroken)
    Violate(moment.at,
            fmt::format("{} mA of {} mA", fmt::join(moment.mayDraw, ", "), fmt::join(moment.granted, ", ")));
  mIsBroken = isBroken;
}
