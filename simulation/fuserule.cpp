#include "simulation/fuserule.h"

#include <fmt/format.h>

void CFuseRule::OnMoment(const SStationMoment& moment, const SDaySituation& situation) {
  const bool hasJustTripped = moment.hasFuseTripped && !mHadTripped;
  mHadTripped = moment.hasFuseTripped;
  if (!hasJustTripped || (situation.visit != nullptr && !situation.visit->Obeys())) return;
  Violate(moment.at, fmt::format("{} mA, household {} {} {} mA", moment.fuseMilliAmpere, moment.load[0],
                                 moment.load[1], moment.load[2]));
}
