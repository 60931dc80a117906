#include "simulation/groupoverloadrule.h"

#include <fmt/ranges.h>

void CGroupOverloadRule::OnSecond(const SGroupMoment& moment) {
  LbPhaseCurrents drawn{};
  for (const SGroupStationMoment& station : moment.stations) {
    for (std::size_t phase = 0; phase < drawn.size(); ++phase) drawn[phase] += station.drawn[phase];
  }
  if (std::ranges::equal(drawn, moment.granted, std::ranges::less_equal()) || !moment.DoFallbacksFit()) {
    mHeldUntil = moment.at;
    mIsTold = false;
  }
  const Milliseconds overloaded = moment.at - mHeldUntil;
  if (overloaded <= kMargin + moment.SlowestVehicle() || std::exchange(mIsTold, true)) return;
  Violate(moment.at, fmt::format("{} mA of {} mA for {} s", fmt::join(drawn, ", "),
                                 fmt::join(moment.granted, ", "), overloaded.count() / 1000));
}
