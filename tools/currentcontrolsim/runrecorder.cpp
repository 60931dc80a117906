#include "tools/currentcontrolsim/runrecorder.h"

#include <cstdlib>

void CRunRecorder::Take(const SStationMoment& moment) {
  if (moment.at % mStep == Milliseconds{0}) mRun.moments.push_back(moment);
  mRun.hasFuseTripped = mRun.hasFuseTripped || moment.hasFuseTripped;
  for (std::uint32_t phase = 1; phase <= moment.house.size(); ++phase) {
    const std::int32_t milliAmpere = moment.house[phase - 1];
    if (!mRun.moments.empty() && std::abs(milliAmpere) <= std::abs(mRun.peak.milliAmpere)) continue;
    mRun.peak = {moment.at, milliAmpere, phase, moment.fuseMilliAmpere};
  }
}
