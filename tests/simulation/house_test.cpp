#include "simulation/house.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/log/logcapture.h"
#include "platform/worker/virtualscheduler.h"
#include "simulation/simulatedctmeter.h"

namespace {

using namespace std::chrono_literals;
using Currents = CVehicle::Currents;

/// How long a cold fuse of 25 A holds this current, in steps of 20 ms; nothing when it does for an hour.
std::optional<Milliseconds> HoldsFor(std::uint32_t milliAmpere) {
  CMainFuse fuse(25000);
  for (Milliseconds time{0}; time < 1h; time += 20ms) {
    fuse.Advance(time == 0ms ? 0ms : 20ms, {1000, milliAmpere, 0});
    if (fuse.HasTripped()) return fuse.TrippedPhase() == 2 ? time : -1ms;
  }
  return std::nullopt;
}

TEST(MainFuse, TripsWhenTheNormSays) {
  EXPECT_EQ(HoldsFor(25000), std::nullopt);
  EXPECT_EQ(HoldsFor(28250), std::nullopt) << "1.13 x: never";
  EXPECT_EQ(HoldsFor(31250), std::nullopt) << "1.25 x, where the regulator stops the vehicle";
  // tau ln(i^2 / (i^2 - 1.28^2)), rounded up to the step
  EXPECT_EQ(HoldsFor(36250), 90660ms) << "1.45 x: within the hour";
  EXPECT_EQ(HoldsFor(37500), 78160ms) << "1.5 x";
  EXPECT_EQ(HoldsFor(50000), 31620ms) << "2 x";
  EXPECT_EQ(HoldsFor(63750), 17420ms) << "2.55 x: 1 to 60 s";
  EXPECT_EQ(HoldsFor(74999), 12060ms);
  EXPECT_EQ(HoldsFor(75000), 0ms) << "3 x: the magnet";

  CMainFuse fuse(25000);
  fuse.Advance(1h, {0, 0, 28250});
  EXPECT_NEAR(fuse.Heat(), 0.77936, 0.00001);
  fuse.Advance(1min, {});
  EXPECT_NEAR(fuse.Heat(), 0.28671, 0.00001);
  EXPECT_NEAR(fuse.HighestHeat(), 0.77936, 0.00001);
}

class HouseTest : public testing::Test {
 protected:
  CLogCapture mLog;
  CVirtualScheduler mScheduler;
  CChargePoint mChargePoint{mScheduler};
  CHouse mHouse{mScheduler, mChargePoint};
};

TEST_F(HouseTest, AddsTheVehicleAndIsDarkBehindATrippedFuse) {
  mHouse.SetLoads({10000, 0, 500});
  mHouse.SetLoad(2, 3000);
  mChargePoint.Offer(12000, 1);
  mScheduler.RunFor(1min);
  EXPECT_EQ(mHouse.AtTheConnection(), (Currents{22000, 3000, 500}));

  mHouse.SetLoad(3, 60000);
  mScheduler.RunFor(10s);
  EXPECT_EQ(mHouse.AtTheConnection(), (Currents{22000, 3000, 60000}));
  mScheduler.RunFor(1min);
  EXPECT_EQ(mHouse.AtTheConnection(), (Currents{0, 0, 0}));
  EXPECT_EQ(mChargePoint.View().draw, (Currents{0, 0, 0}));
  mHouse.SetLoads({1, 2, 3});
  EXPECT_EQ(mHouse.View().load, (Currents{0, 0, 0}));
  EXPECT_EQ(mHouse.View().fuse.TrippedPhase(), 3U);
  EXPECT_THAT(
      mLog.Texts(Log::ELogLevel::Error),
      testing::ElementsAre("The main fuse of 25000 mA has tripped: 60000 mA on L3, 130 s after the start"));

  mHouse.FitFuse(35000);
  mScheduler.RunFor(5s);
  EXPECT_EQ(mHouse.AtTheConnection(), (Currents{12001, 2, 3}));
  EXPECT_FALSE(mHouse.View().fuse.HasTripped());
}

TEST(MeteringChip, MeasuresAndFails) {
  Currents currents{10000, 16000, 200000};
  CMeteringChip chip([&currents] { return currents; });
  CSimulatedCtMeter meter(chip);
  using Registers = ICtMeter::RmsRegisters;
  EXPECT_EQ(chip.ReadCurrentRms(), (Registers{0, 0, 0})) << "stands still until it is told to run";
  const std::array<ICtMeter::SCalibration, 3> calibrations{{{}, {-4194304, 0, 0, 1000}, {}}};
  const std::array<std::uint16_t, 1> gains{2};
  ASSERT_TRUE(meter.Initialize(calibrations, gains));
  // 10 A * 2 * 4191910 * 6.22254 / (0.5 * 3000); 16 A likewise, halved, and the root of 128000 more in the
  // square; the converter's end.
  EXPECT_EQ(meter.ReadCurrentRms(), (Registers{347791, 278233, 4191910}));
  EXPECT_TRUE(meter.IsRunning());

  chip.FakeReadings(Registers{16777215, 0, 1});
  EXPECT_EQ(meter.ReadCurrentRms(), (Registers{16777215, 0, 1}));
  chip.FakeReadings(std::nullopt);

  chip.Reset();
  EXPECT_FALSE(meter.IsRunning());
  EXPECT_EQ(meter.ReadCurrentRms(), std::nullopt) << "like the daemon's driver";
  EXPECT_EQ(chip.ReadCurrentRms(), (Registers{0, 0, 0}));
  chip.RefuseConfiguration(true);
  EXPECT_FALSE(meter.Initialize(calibrations, gains));
  chip.RefuseConfiguration(false);
  EXPECT_TRUE(meter.Initialize(calibrations, gains));
  EXPECT_TRUE(meter.IsRunning());

  chip.Vanish();
  EXPECT_FALSE(meter.IsRunning());
  EXPECT_FALSE(meter.Initialize(calibrations, gains));
  EXPECT_EQ(meter.ReadCurrentRms(), std::nullopt);
  EXPECT_THROW(CSimulatedCtMeter{chip}, Hal::MeterException);
  chip.Return();
  EXPECT_EQ(chip.ReadCurrentRms(), (Registers{0, 0, 0}));
}

}  // namespace
