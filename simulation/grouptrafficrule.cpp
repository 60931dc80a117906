#include "simulation/grouptrafficrule.h"

#include <fmt/format.h>

void CGroupTrafficRule::OnMessage(const SGroupMoment& moment) {
  if (moment.at - mSince >= kSpan) {
    mSince = moment.at;
    mMessages = 0;
  }
  if (++mMessages != kMostPerStation * moment.stations.size()) return;
  Violate(moment.at, fmt::format("{} messages in {} ms", mMessages, (moment.at - mSince).count()));
  mCutOff();
}
