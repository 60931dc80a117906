#include "simulation/household.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

TEST(Household, LivesThroughTheDayBehindItsFuse) {
  for (std::uint64_t seed = 1; seed <= 50; ++seed) {
    SCOPED_TRACE(seed);
    const auto day = CHousehold(seed).Behind(20);
    EXPECT_EQ(day.front().at, 0ms);
    EXPECT_LE(day.back().at, 24h);
    EXPECT_TRUE(std::ranges::is_sorted(day, {}, &SLoads::at));
    std::uint32_t most = 0;
    for (const SLoads& loads : day) {
      const auto [least, highest] = std::ranges::minmax(loads.milliAmpere);
      EXPECT_GE(least, 150U) << "something is always on";
      most = std::max(most, highest);
    }
    EXPECT_GT(most, 9000U) << "somebody cooks";
    EXPECT_LE(most, 19900U);
  }
}

}  // namespace
