#include "src/components/solardebounce.h"

#include <chrono>

namespace {

/// Rounded: a run that comes a little early for its turn would put the matter off by a whole period.
bool HasLasted(TimePoint since, std::int64_t seconds, TimePoint now) {
  return std::chrono::round<std::chrono::seconds>(now - since).count() >= seconds;
}

}  // namespace

CSolarDebounce::EStep CSolarDebounce::WhileHeld(bool isEnough, std::int64_t startSeconds, TimePoint now) {
  if (!isEnough) {
    mStartSince.reset();
  } else if (!mStartSince) {
    mStartSince = now;
  } else if (HasLasted(*mStartSince, startSeconds, now)) {
    mStartSince.reset();
    return EStep::Start;
  }
  return EStep::Wait;
}

CSolarDebounce::EStep CSolarDebounce::WhileCharging(bool isEnough, std::int64_t stopSeconds, TimePoint now) {
  if (isEnough) {
    mStopSince.reset();
    return EStep::Follow;
  }
  if (!mStopSince) {
    mStopSince = now;
    return EStep::FallToLeast;
  }
  if (!HasLasted(*mStopSince, stopSeconds, now)) return EStep::Wait;
  mStopSince.reset();
  return EStep::Stop;
}

void CSolarDebounce::Reset() {
  mStartSince.reset();
  mStopSince.reset();
}
