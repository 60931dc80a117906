#include "src/components/loadbalancing/leader/lbexposure.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

constexpr TimePoint At(Milliseconds time) {
  return TimePoint{} + time;
}

TEST(LbExposure, CountsWhateverMayBeInForce) {
  CLbExposure exposure;
  EXPECT_EQ(exposure.Highest(At(0s)), 0U);
  EXPECT_TRUE(exposure.MayHaveFallenBack(At(0s)));

  exposure.Told(16000, At(0s));
  EXPECT_EQ(exposure.Highest(At(0s)), 16000U) << "it may have arrived";
  EXPECT_TRUE(exposure.MayHaveFallenBack(At(0s))) << "or not";
  exposure.Acknowledged();
  EXPECT_FALSE(exposure.MayHaveFallenBack(At(7999ms)));
  EXPECT_TRUE(exposure.MayHaveFallenBack(At(8s)));

  exposure.Told(6000, At(2s));
  exposure.Told(10000, At(4s));
  EXPECT_EQ(exposure.Highest(At(11s)), 16000U) << "nothing newer is known to have arrived";
  EXPECT_EQ(exposure.Highest(At(11001ms)), 10000U) << "8 s after it was taken, 3 s at most after it was sent";
  exposure.Told(6000, At(11500ms));
  exposure.Acknowledged();
  EXPECT_EQ(exposure.Highest(At(11500ms)), 6000U) << "the newest one ends all others";
  EXPECT_FALSE(exposure.MayHaveFallenBack(At(19499ms)));
  EXPECT_EQ(exposure.Highest(At(22501ms)), 0U) << "it has fallen back";
}

}  // namespace
