#include "simulation/groupmoment.h"

#include <limits>

std::uint32_t SGroupMoment::Unused(const SGroupStationMoment& station) const {
  std::uint32_t unused = std::numeric_limits<std::uint32_t>::max();
  for (std::size_t phase = 0; phase < planned.size(); ++phase) {
    if (station.IsServed() && !HasLbPhase(station.wired, phase)) continue;
    std::uint64_t taken = 0;
    for (const SGroupStationMoment& each : stations) {
      const std::uint32_t may = each.isDrawing ? each.mayDraw[phase] : each.limitMilliAmpere;
      taken += std::max(may, each.fallbackMilliAmpere);
    }
    const std::uint64_t left = planned[phase] - std::min<std::uint64_t>(planned[phase], taken);
    unused = std::min(unused, static_cast<std::uint32_t>(left));
  }
  return unused;
}

Milliseconds SGroupMoment::SlowestVehicle() const {
  constexpr std::int64_t kMillisecondsPerSecond = 1000;
  Milliseconds slowest{0};
  for (const SGroupStationMoment& station : stations) {
    if (!station.vehicle) continue;
    const Milliseconds ramp(station.vehicle->maxMilliAmpere * kMillisecondsPerSecond /
                            station.vehicle->rampMilliAmperePerSecond);
    slowest = std::max(slowest, station.vehicle->reaction + ramp);
  }
  return slowest;
}
