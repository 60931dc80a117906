#include "simulation/obediencerule.h"

#include <fmt/format.h>

void CObedienceRule::OnMoment(const SStationMoment& moment, const SDaySituation& situation) {
  const bool isStopped = situation.stoppedBy == ipc::ECurrentControlOvercurrentProtection;
  if (isStopped && !mWasStopped && situation.visit != nullptr && situation.visit->Obeys()) {
    Violate(moment.at, fmt::format("reaction {} ms", situation.visit->vehicle.reaction.count()));
  }
  mWasStopped = isStopped;
}
