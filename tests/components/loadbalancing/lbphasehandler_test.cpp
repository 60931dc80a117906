#include "src/components/loadbalancing/lbphasehandler.h"

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/worker/virtualscheduler.h"
#include "src/components/loadbalancing/lbphaserotation.h"

namespace {

constexpr std::optional<SStationMeterData> kSilent;

std::optional<SStationMeterData> Drawing(std::int32_t l1, std::int32_t l2 = 0, std::int32_t l3 = 0) {
  SStationMeterData data;
  data.milliAmpere = {l1, l2, l3};
  return data;
}

class CLbPhaseHandlerTest : public ::testing::Test {
 protected:
  /// What the leader tells each 2 s, as the follower passes it on; what is reported after the last time.
  int Tell(std::uint32_t milliAmpere, bool isPhaseDiscovery, int seconds) {
    for (; seconds > 0; seconds -= 2) {
      mHandler.SetLimit(milliAmpere, isPhaseDiscovery);
      mScheduler.RunFor(Milliseconds{2000});
    }
    return mHandler.GetReport();
  }
  int Discover(int seconds) { return Tell(0, true, seconds); }

  CLogCapture mLog{Log::ELogLevel::Info};
  CVirtualScheduler mScheduler;
  std::optional<SStationMeterData> mData;
  int mReadings = 0;
  CLbPhaseHandler mHandler{mScheduler, [this] {
                             ++mReadings;
                             return mData;
                           }};
};

TEST_F(CLbPhaseHandlerTest, ReportsWhatTheMeterShowsAtThatMoment) {
  EXPECT_EQ(mHandler.GetReport(), 0x00);
  const struct {
    std::optional<SStationMeterData> data;
    int report;
  } kCases[] = {{Drawing(1001), 0x01}, {Drawing(1000, 1001), 0x02},       {Drawing(0, -5000, 16000), 0x04},
                {kSilent, 0x00},       {Drawing(6000, 6000, 6000), 0x07}, {Drawing(1000, 0, 1000), 0x00}};
  for (const auto& item : kCases) {
    mData = item.data;
    EXPECT_EQ(mHandler.GetReport(), item.report);
  }
}

TEST_F(CLbPhaseHandlerTest, IsDoneOnceTheVehicleDrewTenSecondsWithoutABreak) {
  EXPECT_EQ(Discover(20), 0x00);
  mData = Drawing(0, 6000);
  EXPECT_EQ(Discover(8), 0x02);
  for (const auto& pause : {Drawing(1000, 1000, 1000), kSilent}) {
    mData = pause;
    EXPECT_EQ(Discover(2), 0x00);
    mData = Drawing(0, 0, 6000);
    EXPECT_EQ(Discover(10), 0x04) << "drawing since 9 s: the first second went by before it was seen";
  }
  EXPECT_EQ(Discover(2), 0x84);
  mData = kSilent;
  EXPECT_EQ(Discover(60), 0x80);
  EXPECT_EQ(Tell(16000, false, 60), 0x80);
  mData = Drawing(6000);
  mHandler.SetLimit(0, true);
  EXPECT_EQ(mHandler.GetReport(), 0x01) << "the next discovery begins, before anything was measured for it";
  EXPECT_EQ(Discover(12), 0x81);
  EXPECT_EQ(mLog.Count("The vehicle has been drawing for 10 s: its phases are found."), 2);
}

TEST_F(CLbPhaseHandlerTest, LimitsWithoutTheFlagEndADiscoveryThatIsNotDone) {
  const struct {
    std::uint32_t milliAmpere;
    bool flag;
  } kOthers[] = {{0, false}, {6000, false}, {6000, true}};
  mData = Drawing(6000);
  for (const auto& other : kOthers) {
    EXPECT_EQ(Discover(8), 0x01);
    EXPECT_EQ(Tell(other.milliAmpere, other.flag, 30), 0x01);
  }
  EXPECT_EQ(Discover(8), 0x01) << "it begins anew";
  EXPECT_EQ(Discover(4), 0x81);
}

TEST_F(CLbPhaseHandlerTest, SamplesOnlyWhileADiscoveryLasts) {
  Tell(16000, false, 60);
  EXPECT_EQ(mReadings, 1) << "for the report";
  mData = Drawing(6000);
  Discover(60);
  EXPECT_EQ(mReadings, 1 + 11 + 1);
  mData = kSilent;
  Tell(0, false, 2);
  Discover(6);
  mReadings = 0;
  mHandler.SetLimit(0, false);
  mHandler.SetLimit(0, true);  // within one turn of the worker
  mScheduler.RunFor(Milliseconds{5500});
  EXPECT_LE(mReadings, 7) << "one a second, whatever was stopped and begun";
  Tell(0, false, 60);
  EXPECT_LE(mReadings, 9);
}

TEST(CLbPhaseRotationTest, MapsTheStationsPhasesToTheSupplys) {
  const struct {
    const char* text;
    std::array<std::uint32_t, 3> ofSupply;
  } kCases[] = {{"RST", {1, 2, 3}}, {"RTS", {1, 3, 2}}, {"SRT", {2, 1, 3}}, {"STR", {3, 1, 2}},
                {"TRS", {2, 3, 1}}, {"TSR", {3, 2, 1}}, {"S", {0, 1, 0}},   {"TR", {2, 0, 1}}};
  for (const auto& item : kCases) {
    const auto rotation = CLbPhaseRotation::Parse(item.text);
    ASSERT_TRUE(rotation) << item.text;
    EXPECT_EQ(rotation->ToSupply({1, 2, 3}), item.ofSupply) << item.text;
  }
  for (const auto* text : {"", "rst", "RSX", "RRS", "RSTR", "R T"}) {
    EXPECT_FALSE(CLbPhaseRotation::Parse(text)) << text;
  }
}

}  // namespace
