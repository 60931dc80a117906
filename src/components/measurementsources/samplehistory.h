#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "src/components/measurementsources/measurement.h"

/// The newest samples of one quantity, as many as there is room for. Takes memory at construction only. One
/// thread at a time.
class CSampleHistory {
 public:
  /// Room for at least one.
  explicit CSampleHistory(std::uint32_t room) : mSamples(room) {}

  std::uint32_t Size() const { return mSize; }
  void Clear() { mSize = 0; }
  /// Drops the oldest sample when there is no room.
  void Add(const ThreePhaseValue& sample);
  /// The mean of the newest `count` samples, 1 to `Size()`, truncated toward zero.
  ThreePhaseValue AverageOfNewest(std::uint32_t count) const;

 private:
  std::vector<ThreePhaseValue> mSamples;  // a ring
  std::size_t mNext = 0;
  std::uint32_t mSize = 0;
};
