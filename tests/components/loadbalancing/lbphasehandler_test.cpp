#include "src/components/loadbalancing/lbphasehandler.h"

#include <gmock/gmock.h>

#include "platform/worker/virtualscheduler.h"
#include "src/components/loadbalancing/lbphaserotation.h"

namespace {

constexpr std::array<std::int32_t, 3> kDrawing{0, 6000, 0};

class CLbPhaseHandlerTest : public ::testing::Test {
 protected:
  /// What the leader tells each 2 s, as the follower passes it on; the report after the last time.
  int Tell(std::uint32_t milliAmpere, bool isPhaseDiscovery, int seconds) {
    for (; seconds > 0; seconds -= 2) {
      mHandler.SetLimit(milliAmpere, isPhaseDiscovery);
      mScheduler.RunFor(Milliseconds{2000});
    }
    return mHandler.GetReport();
  }
  int Discover(int seconds) { return Tell(0, true, seconds); }
  void Measure(std::array<std::int32_t, 3> milliAmpere) { mData.emplace().milliAmpere = milliAmpere; }

  CVirtualScheduler mScheduler;
  std::optional<SStationMeterData> mData;  // none: silent
  int mReadings = 0;
  CLbPhaseHandler mHandler{mScheduler, [this] {
                             ++mReadings;
                             return mData;
                           }};
};

TEST_F(CLbPhaseHandlerTest, ReportsWhatTheMeterShowsAtThatMomentAndReadsItForNothingElse) {
  EXPECT_EQ(Tell(16000, false, 60), 0x00);
  Measure({1000, 1001, -5000});
  EXPECT_EQ(mHandler.GetReport(), 0x02);
  Measure({1001, 1000, 16000});
  EXPECT_EQ(mHandler.GetReport(), 0x05);
  EXPECT_EQ(mReadings, 3);
  EXPECT_EQ(Discover(60), 0x85);
  EXPECT_EQ(mReadings, 3 + 11 + 1);
}

TEST_F(CLbPhaseHandlerTest, IsDoneOnceTheVehicleDrewTenSecondsWithoutABreak) {
  EXPECT_EQ(Discover(20), 0x00);
  Measure(kDrawing);
  for (const bool isSilent : {true, false}) {
    EXPECT_EQ(Discover(10), 0x02) << "it may have begun a second later than it was seen not to draw";
    Measure({1000, 1000, 1000});
    if (isSilent) mData.reset();
    EXPECT_EQ(Discover(2), 0x00);
    Measure(kDrawing);
  }
  EXPECT_EQ(Discover(12), 0x82);
  mData.reset();
  EXPECT_EQ(Discover(60), 0x80);
  EXPECT_EQ(Tell(16000, false, 60), 0x80);
  mHandler.SetLimit(0, true);
  EXPECT_EQ(mHandler.GetReport(), 0x00) << "the next one begins, before anything is measured for it";
}

TEST_F(CLbPhaseHandlerTest, LimitsWithoutTheFlagEndADiscoveryThatIsNotDone) {
  Measure(kDrawing);
  EXPECT_EQ(Discover(8), 0x02);
  EXPECT_EQ(Tell(0, false, 30), 0x02);
  EXPECT_EQ(Discover(8), 0x02);
  EXPECT_EQ(Tell(6000, true, 30), 0x02);
  mReadings = 0;
  mHandler.SetLimit(0, true);
  mHandler.SetLimit(0, false);
  EXPECT_EQ(Discover(8), 0x02) << "it begins anew";
  EXPECT_LE(mReadings, 10) << "one a second, however often it was begun";
  EXPECT_EQ(Discover(4), 0x82);
}

TEST(CLbPhaseRotationTest, MapsTheStationsPhasesToTheSupplys) {
  const std::pair<const char*, std::array<std::uint32_t, 3>> kCases[] = {
      {"RST", {1, 2, 3}}, {"SRT", {2, 1, 3}}, {"STR", {3, 1, 2}},
      {"TRS", {2, 3, 1}}, {"TR", {2, 3, 1}},  {"S", {2, 1, 3}}};
  for (const auto& [text, ofSupply] : kCases) {
    const auto rotation = CLbPhaseRotation::Parse(text);
    ASSERT_TRUE(rotation) << text;
    EXPECT_EQ(rotation->ToSupply({1, 2, 3}), ofSupply) << text;
  }
  for (const auto* text : {"", "rst", "RSX", "RRS", "RSTR"}) EXPECT_FALSE(CLbPhaseRotation::Parse(text));
}

}  // namespace
