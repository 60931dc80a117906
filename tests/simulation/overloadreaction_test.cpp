#include "simulation/overloadreaction.h"

#include <vector>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"

namespace {

using std::chrono::milliseconds;

struct SCase {
  milliseconds step;
  milliseconds look;
  milliseconds reaction;
};

/// The rest of the sampling period, and then the way to the look.
TEST(OverloadReaction, TakesTheRestOfASampleAndTheWayToTheLook) {
  const CLogCapture silence(Log::ELogLevel::Critical);
  for (const auto& [step, look, reaction] :
       {SCase{milliseconds(0), milliseconds(1249), milliseconds(2499)},
        SCase{milliseconds(0), milliseconds(1), milliseconds(1251)},
        SCase{milliseconds(600), milliseconds(100), milliseconds(750)},
        SCase{milliseconds(1249), milliseconds(400), milliseconds(401)},
        SCase{milliseconds(1250), milliseconds(0), milliseconds(1250)}}) {
    EXPECT_EQ(COverloadReaction({step, look}).Play(), reaction) << step.count() << ' ' << look.count();
  }
}

/// 16 A are in force, 28 A flow, 23.75 A may.
TEST(OverloadReaction, ReducesByWhatIsTooMuchAndGivesItBack) {
  const CLogCapture silence(Log::ELogLevel::Critical);
  std::vector<std::uint32_t> setpoints;
  COverloadReaction::SMoment last{};
  COverloadReaction(COverloadReaction::kSlowest, [&](const COverloadReaction::SMoment& moment) {
    if (setpoints.empty() || setpoints.back() != moment.setpoint) setpoints.push_back(moment.setpoint);
    last = moment;
  }).Play();
  ASSERT_GE(setpoints.size(), 4U);
  setpoints.resize(4);
  EXPECT_THAT(setpoints, testing::ElementsAre(16000, 11750, 7500, 6000));
  EXPECT_EQ(last.at, milliseconds(35000));
  EXPECT_EQ(last.total, 20000U);
}

}  // namespace
