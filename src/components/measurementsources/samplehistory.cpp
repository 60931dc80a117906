#include "src/components/measurementsources/samplehistory.h"

#include <algorithm>
#include <array>

void CSampleHistory::Add(const ThreePhaseValue& sample) {
  mSamples[mNext] = sample;
  mNext = (mNext + 1) % mSamples.size();
  mSize = std::min(mSize + 1, static_cast<std::uint32_t>(mSamples.size()));
}

ThreePhaseValue CSampleHistory::AverageOfNewest(std::uint32_t count) const {
  std::array<std::int64_t, 3> sums{};  // the largest samples do not add up in 32 bits
  std::size_t place = mNext;
  for (std::uint32_t sample = 0; sample < count; ++sample) {
    place = (place == 0 ? mSamples.size() : place) - 1;
    for (std::size_t phase = 0; phase < sums.size(); ++phase) sums[phase] += mSamples[place][phase];
  }
  ThreePhaseValue average{};
  std::ranges::transform(sums, average.begin(), [count](std::int64_t sum) {
    return static_cast<std::int32_t>(sum / static_cast<std::int64_t>(count));
  });
  return average;
}
