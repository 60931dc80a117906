#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>

/// The newest samples of one quantity, the oldest of which makes room for the next. Takes no memory. One
/// thread at a time.
template <std::uint32_t kRoom>
class CRecentSamples {
 public:
  std::uint32_t Size() const { return mSize; }
  void Clear() { mSize = 0; }

  void Add(std::int64_t sample) {
    std::copy_backward(mSamples.begin(), mSamples.end() - 1, mSamples.end());
    mSamples.front() = sample;
    mSize = std::min(mSize + 1, kRoom);
  }

  std::int64_t Sum() const { return SumOfNewest(mSize); }
  /// Of as many as there are, when there are less.
  std::int64_t SumOfNewest(std::uint32_t count) const {
    const auto end = mSamples.begin() + static_cast<std::ptrdiff_t>(std::min(count, mSize));
    return std::accumulate(mSamples.begin(), end, std::int64_t{0});
  }

 private:
  std::array<std::int64_t, kRoom> mSamples{};  // the newest first
  std::uint32_t mSize = 0;
};
