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
  EXPECT_EQ(HoldsFor(31250), std::nullopt) << "1.25 x, where the regulator stops the vehicle";
  // tau ln(i^2 / (i^2 - 1.28^2)), rounded up to the step
  EXPECT_EQ(HoldsFor(36250), 90660ms) << "1.45 x: within the hour";
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

TEST(House, AddsTheVehicleAndIsDarkBehindATrippedFuse) {
  CLogCapture log;
  CVirtualScheduler scheduler;
  CChargePoint chargePoint{scheduler};
  CHouse house{scheduler, chargePoint};
  house.SetLoads({10000, 0, 500});
  house.SetLoad(2, 3000);
  chargePoint.Offer(12000, 1);
  scheduler.RunFor(1min);
  EXPECT_EQ(house.AtTheConnection(), (Currents{22000, 3000, 500}));

  house.SetLoad(3, 60000);
  scheduler.RunFor(10s);
  scheduler.RunFor(1min);
  EXPECT_EQ(house.AtTheConnection(), (Currents{0, 0, 0}));
  EXPECT_EQ(chargePoint.View().draw, (Currents{0, 0, 0}));
  house.SetLoads({1, 2, 3});
  EXPECT_EQ(house.View().load, (Currents{0, 0, 0}));
  EXPECT_EQ(house.View().fuse.TrippedPhase(), 3U);
  EXPECT_THAT(
      log.Texts(Log::ELogLevel::Error),
      testing::ElementsAre("The main fuse of 25000 mA has tripped: 60000 mA on L3, 130 s after the start"));

  house.FitFuse(35000);
  scheduler.RunFor(5s);
  EXPECT_EQ(house.AtTheConnection(), (Currents{12001, 2, 3}));
  EXPECT_FALSE(house.View().fuse.HasTripped());
}

TEST(MeteringChip, MeasuresAndFails) {
  Currents currents{10000, 16000, 200000};
  CMeteringChip chip([&currents] { return currents; });
  CSimulatedCtMeter meter(chip);
  using Registers = ICtMeter::RmsRegisters;
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

  const auto failsAndIsBack = [&](auto fail, auto repair) {
    fail();
    EXPECT_FALSE(meter.IsRunning());
    EXPECT_EQ(meter.ReadCurrentRms(), std::nullopt) << "like the daemon's driver";
    EXPECT_FALSE(meter.Initialize(calibrations, gains));
    repair();
    EXPECT_EQ(chip.ReadCurrentRms(), (Registers{0, 0, 0})) << "stands still until it is told to run";
    EXPECT_TRUE(meter.Initialize(calibrations, gains));
    EXPECT_TRUE(meter.IsRunning());
  };
  failsAndIsBack([&] { chip.Reset(), chip.RefuseConfiguration(true); },
                 [&] { chip.RefuseConfiguration(false); });
  failsAndIsBack([&] { chip.Vanish(); }, [&] { chip.Return(); });
}

}  // namespace
