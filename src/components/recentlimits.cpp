#include "src/components/recentlimits.h"

void CRecentLimits::Set(std::uint32_t milliAmpere, TimePoint now) {
  mReplaced.push_back({mPresent, now + kTimeToFollow});
  mPresent = milliAmpere;
  while (!mReplaced.empty() && mReplaced.back().milliAmpere <= mPresent) mReplaced.pop_back();
}

std::uint32_t CRecentLimits::Largest(TimePoint now) {
  while (!mReplaced.empty() && mReplaced.front().until <= now) mReplaced.pop_front();
  return mReplaced.empty() ? mPresent : mReplaced.front().milliAmpere;
}

std::optional<TimePoint> CRecentLimits::NextFall() const {
  if (mReplaced.empty()) return std::nullopt;
  return mReplaced.front().until;
}
