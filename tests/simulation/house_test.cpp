#include "simulation/house.h"

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/utility/jsontext.h"
#include "platform/worker/virtualscheduler.h"
#include "simulation/homewizardpages.h"
#include "simulation/memoryfiles.h"
#include "simulation/p1telegramtext.h"
#include "simulation/simulatedctmeter.h"
#include "simulation/simulatedmodbus.h"
#include "src/components/measurementsources/homewizardreading.h"
#include "src/components/measurementsources/modbusmeasurementsource.h"
#include "src/components/measurementsources/p1parser.h"

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
  house.SetGeneration({3000, 3000, 9000});
  EXPECT_EQ(house.View().net, (CHouse::NetCurrents{19000, 0, -8500}));
  EXPECT_EQ(house.AtTheConnection(), (Currents{19000, 0, 8500}));

  house.SetLoad(3, 0);
  house.SetGeneration({0, 0, 60000});  // too much is too much in either direction
  scheduler.RunFor(10s);
  scheduler.RunFor(1min);
  EXPECT_EQ(house.AtTheConnection(), (Currents{0, 0, 0}));
  EXPECT_EQ(chargePoint.View().draw, (Currents{0, 0, 0}));
  house.SetLoads({1, 2, 3});
  EXPECT_EQ(house.View().load, (Currents{0, 0, 0}));
  EXPECT_EQ(house.View().generation, (Currents{0, 0, 0})) << "an inverter needs the grid";
  EXPECT_EQ(house.View().fuse.TrippedPhase(), 3U);
  EXPECT_THAT(
      log.Texts(Log::ELogLevel::Error),
      testing::ElementsAre("The main fuse of 25000 mA has tripped: 60000 mA on L3, 130 s after the start"));

  house.SetGeneration({});
  house.FitFuse(35000);
  scheduler.RunFor(5s);
  EXPECT_EQ(house.AtTheConnection(), (Currents{12001, 2, 3}));
  EXPECT_FALSE(house.View().fuse.HasTripped());
  EXPECT_GE(house.View().highestHeat, 1) << "of the one that tripped";
}

/// What a kind of meter tells of L1 to L3 in mA, and of the whole in W.
void ExpectFeedIn(const std::optional<ThreePhaseValue>& current, const std::optional<ThreePhaseValue>& watt) {
  ASSERT_TRUE(current && watt);
  EXPECT_NEAR((*current)[0], -6000, 10);
  EXPECT_NEAR((*current)[1], 1000, 10);
  EXPECT_NEAR((*current)[2], -6000, 10);
  EXPECT_EQ((*watt)[0], -2564);
}

TEST(HouseMeter, TellsWhatTheRoofFeedsInThroughEveryKindOfMeter) {
  const CLogCapture silence;
  CVirtualScheduler scheduler;
  CChargePoint chargePoint{scheduler};
  CHouse house{scheduler, chargePoint, 80000};
  CHouseMeter meter{scheduler, house};
  house.SetLoads({1000, 1000, 20000});
  house.SetGeneration({7000, 0, 26000});

  CMemoryFiles files;
  const std::string telegram = P1TelegramOf(meter);
  const std::vector<std::uint8_t> bytes(telegram.begin(), telegram.end());
  const SP1Output p1 = CP1Parser(files, "dump", nullptr).Parse(bytes.data(), bytes.size());
  ExpectFeedIn(p1.current, p1.activePower);

  Json::Value page;
  ASSERT_EQ(JsonText::ParseObject(HomeWizardPages::Get(meter, {}, "/api/v1/data")->body, page), "");
  const auto reading = std::get<SMeterReading>(HomeWizardReading::From(page));
  ExpectFeedIn(reading.current, reading.activePower);

  for (const SModbusMeterModel& model : ModbusMeterModels()) {
    if (model.map.phases == 1 || model.name == "eastron_sdm72dm_v1") continue;
    SCOPED_TRACE(model.name);
    CModbusUnit unit(meter, model);
    Json::Value parameters;
    parameters["type"] = std::string(model.name);
    parameters["address"] = "meter";
    const auto kind =
        model.Has(EModbusConnectionKind::Rtu) ? EModbusConnectionKind::Rtu : EModbusConnectionKind::Tcp;
    CModbusMeasurementSource source(scheduler, std::make_shared<CSimulatedModbus>(unit), kind, parameters,
                                    {.device = "/dev/line"}, {});
    ASSERT_TRUE(source.Init());
    scheduler.RunDue();
    ExpectFeedIn(source.GetMeasurements(EMeasureType::Current),
                 source.GetMeasurements(EMeasureType::ActivePower));
  }
}

TEST(MeteringChip, FailsAsItIsTold) {
  CMeteringChip chip([] { return Currents{200000, 0, 0}; });
  CSimulatedCtMeter meter(chip);
  const auto starts = [&meter] {
    const std::array<std::uint16_t, 1> gains{2};
    return meter.Initialize(std::array<ICtMeter::SCalibration, 3>{}, gains) && meter.IsRunning();
  };
  EXPECT_TRUE(starts());
  EXPECT_EQ(meter.ReadCurrentRms(), (ICtMeter::RmsRegisters{4191910, 0, 0})) << "the converter's end";
  chip.Reset();
  EXPECT_EQ(meter.ReadCurrentRms(), std::nullopt) << "like the daemon's driver";
  chip.RefuseConfiguration(true);
  EXPECT_FALSE(starts());
  chip.RefuseConfiguration(false);
  EXPECT_TRUE(starts());
  chip.Vanish();
  EXPECT_EQ(chip.ReadCurrentRms(), std::nullopt);
  EXPECT_FALSE(starts());
}

}  // namespace
