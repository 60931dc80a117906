#include "src/components/loadbalancing/leader/lbexposure.h"

#include <algorithm>
#include <iterator>

namespace {

bool CanBeInForce(TimePoint sentAt, TimePoint now) {
  return now <= sentAt + CLbExposure::kLongestWay + CLbExposure::kHold;
}

}  // namespace

void CLbExposure::Told(std::uint32_t milliAmpere, TimePoint now) {
  std::erase_if(mTold, [now](const STold& told) { return !CanBeInForce(told.at, now); });
  if (mTold.empty() || mTold.back().milliAmpere != milliAmpere) mTold.push_back({milliAmpere, now});
  mTold.back().at = now;
}

void CLbExposure::Acknowledged() {
  if (mTold.empty()) return;
  mTold.erase(mTold.begin(), std::prev(mTold.end()));
  mHoldsUntil = mTold.back().at + kHold;
}

std::uint32_t CLbExposure::Highest(TimePoint now) const {
  std::uint32_t highest = 0;
  for (const STold& told : mTold) {
    if (CanBeInForce(told.at, now)) highest = std::max(highest, told.milliAmpere);
  }
  return highest;
}
