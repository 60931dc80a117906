#include "simulation/mainfuse.h"

#include <algorithm>

namespace {

/// Tripping is noticed with this resolution.
constexpr Milliseconds kLongestStep{250};

/// 1 - e^(-step / tau) up to the third power of step / tau, which is off by less than 10^-10.
double PartOfTheWay(Milliseconds step) {
  const double x = static_cast<double>(step.count()) / static_cast<double>(CMainFuse::kTimeConstant.count());
  return x * (1 - x / 2 * (1 - x / 3));
}

}  // namespace

void CMainFuse::Advance(Milliseconds span, const Currents& currents) {
  for (std::uint32_t phase = 0; phase < currents.size() && !mTripped; ++phase) {
    if (currents[phase] >= std::uint64_t{kMagneticLimit} * mRating) mTripped = phase + 1;
  }
  while (span.count() > 0 && !mTripped) {
    const Milliseconds step = std::min(span, kLongestStep);
    Warm(step, currents);
    span -= step;
  }
}

void CMainFuse::Warm(Milliseconds step, const Currents& currents) {
  const double part = PartOfTheWay(step);
  for (std::uint32_t phase = 0; phase < currents.size(); ++phase) {
    const double current = static_cast<double>(currents[phase]) / mRating;
    mHeat[phase] += (current * current - mHeat[phase]) * part;
    mHighestHeat = std::max(mHighestHeat, mHeat[phase]);
    if (mHeat[phase] >= kTripHeat && !mTripped) mTripped = phase + 1;
  }
}

double CMainFuse::Heat() const {
  return *std::max_element(mHeat.begin(), mHeat.end()) / kTripHeat;
}
