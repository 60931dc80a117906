#include "simulation/offerafterstoprule.h"

#include <algorithm>

#include <fmt/format.h>

void COfferAfterStopRule::OnMoment(const SStationMoment& moment, const SDaySituation& situation) {
  const std::uint32_t draw = *std::ranges::max_element(moment.vehicle);
  const bool isBroken = situation.stoppedBy != ipc::ECurrentControlNone && situation.visit != nullptr &&
                        (moment.setpointMilliAmpere > 0 || draw > 0);
  if (isBroken && !mIsBroken) {
    Violate(moment.at, fmt::format("{} mA offered, {} mA drawn", moment.setpointMilliAmpere, draw));
  }
  mIsBroken = isBroken;
}
