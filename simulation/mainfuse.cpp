#include "simulation/mainfuse.h"

#include <algorithm>

namespace {

/// When it trips within a longer span, the moment is known with this resolution.
constexpr Milliseconds kStep{250};

/// e^(-step / tau) up to the third power of step / tau, which is off by less than 10^-10.
constexpr double RestAfterStep(Milliseconds step) {
  const double x = static_cast<double>(step.count()) / static_cast<double>(CMainFuse::kTimeConstant.count());
  return 1 - x * (1 - x / 2 * (1 - x / 3));
}

/// e^(-span / tau): how much of the difference to its final heat a pole still has after that time. With
/// multiplications alone, which are the same on every machine.
double RestAfter(Milliseconds span) {
  double rest = RestAfterStep(span % kStep);
  double power = RestAfterStep(kStep);
  for (std::int64_t steps = span / kStep; steps > 0; steps /= 2) {
    if (steps % 2 == 1) rest *= power;
    power *= power;
  }
  return rest;
}

}  // namespace

void CMainFuse::Advance(Milliseconds span, const Currents& currents) {
  for (std::uint32_t phase = 0; phase < currents.size() && !mTripped; ++phase) {
    if (currents[phase] >= std::uint64_t{kMagneticLimit} * mRating) mTripped = phase + 1;
  }
  if (mTripped || span.count() <= 0) return;
  if (!CarriesTooMuch(currents)) return Warm(span, currents);
  while (span.count() > 0 && !mTripped) {
    const Milliseconds step = std::min(span, kStep);
    Warm(step, currents);
    span -= step;
  }
}

bool CMainFuse::CarriesTooMuch(const Currents& currents) const {
  return FinalHeat(*std::max_element(currents.begin(), currents.end())) >= kTripHeat;
}

double CMainFuse::FinalHeat(std::uint32_t milliAmpere) const {
  const double current = static_cast<double>(milliAmpere) / mRating;
  return current * current;
}

void CMainFuse::Warm(Milliseconds span, const Currents& currents) {
  const double rest = RestAfter(span);
  for (std::uint32_t phase = 0; phase < currents.size(); ++phase) {
    const double end = FinalHeat(currents[phase]);
    mHeat[phase] = end + (mHeat[phase] - end) * rest;
    mHighestHeat = std::max(mHighestHeat, mHeat[phase]);
    if (mHeat[phase] >= kTripHeat && !mTripped) mTripped = phase + 1;
  }
}

double CMainFuse::Heat() const {
  return *std::max_element(mHeat.begin(), mHeat.end()) / kTripHeat;
}
