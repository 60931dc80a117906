#include "src/components/measurementsources/modbusmeasurementsource.h"

#include <functional>

#include "components/measurementsources/meteredhouse.h"
#include "platform/utility/jsontext.h"
#include "simulation/simulatedmodbus.h"

namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using EFate = CHouseMeter::EFate;

constexpr auto kRtu = EModbusConnectionKind::Rtu;
constexpr auto kTcp = EModbusConnectionKind::Tcp;

/// Current control's source for a meter of that type.
struct SMeasuring : SMeteredHouse {
  explicit SMeasuring(const std::string& type, const std::string& more = "")
      : unit(meter, *FindModbusMeterModel(type)) {
    Json::Value json;
    EXPECT_EQ(JsonText::ParseObject(R"({"address":"meter","type":")" + type + "\"" + more + "}", json), "");
    source = std::make_unique<CModbusMeasurementSource>(
        scheduler, connector, unit.Model().Has(kRtu) ? kRtu : kTcp, json,
        SModbusRtuLine{.device = "/dev/line"}, CModbusMeasurementSource::SPeriods{});
    Follow(*source);
  }

  ThreePhaseValue Current() { return source->GetMeasurements(EMeasureType::Current); }
  auto Count() const { return connector->Count(); }

  CModbusUnit unit;
  std::shared_ptr<CSimulatedModbus> connector = std::make_shared<CSimulatedModbus>(unit);
  std::unique_ptr<CModbusMeasurementSource> source;
};

TEST(ModbusMeasurementSourceTest, IsReadOncePerPeriodAndConnectedAnewWhenThatWasCut) {
  SMeasuring measuring("abb_b23");
  ASSERT_TRUE(measuring.source->Init());
  EXPECT_EQ(measuring.Told(12500ms),
            "Modbus meter abb_b23 on /dev/line, unit 1 measures Current, ActivePower, Voltage");
  EXPECT_EQ(measuring.Count().requests, 33U) << "eleven readings";
  EXPECT_EQ(measuring.Count().connections, 1U);
  measuring.connector->CutNext();
  EXPECT_EQ(measuring.Told(4s), "");
  EXPECT_EQ(measuring.Count().connections, 2U);
  EXPECT_EQ(measuring.Current(), (ThreePhaseValue{8000, 0, 3000}));
}

TEST(ModbusMeasurementSourceTest, WhatTheMeterSaysWrongIsToldOnceAndPasses) {
  struct SCase {
    const char* type;
    const char* more;
    std::function<void(SMeasuring&)> fault;
    const char* reason;
    std::uint32_t connections;  // attempts in the minute of the fault
  };
  const auto overwrite = [](std::uint16_t address, std::uint16_t word) {
    return [=](SMeasuring& measuring) { measuring.unit.Overwrite(address, word); };
  };
  const auto garble = [](SMeasuring& measuring) { measuring.meter.SetFate(EFate::Garbled); };
  const SCase cases[] = {
      {"eastron_sdm630", "", overwrite(8, 0x7fc0), "no current on L2; \"phases\": 1 is for L1 alone", 1},
      {"eastron_sdm630", "", garble, "input registers 0 to 17: exception 4", 1},
      {"kostal_ksem", "", garble, "no voltage on L1", 1},
      {"eastron_sdm120", R"(,"unitId":2)", [](SMeasuring&) {}, "input registers 0 to 1: reading: no", 6},
      {"sunspec_203", "", overwrite(40000, 0), "no SunSpec list is there: exception 2", 1},
      {"sunspec_213", "", overwrite(40070, 203), "the SunSpec list has no model 211 to 214, only: 1, 203", 1},
  };
  for (const SCase& each : cases) {
    SCOPED_TRACE(each.reason);
    SMeasuring measuring(each.type, each.more);
    each.fault(measuring);
    ASSERT_TRUE(measuring.source->Init());
    const std::string told = measuring.Told(1min);
    EXPECT_THAT(told, AllOf(StartsWith("in error; "), HasSubstr(each.reason)));
    EXPECT_LE(std::ranges::count(told, ';'), 2) << told;
    EXPECT_EQ(measuring.Count().connections, each.connections);
    measuring.unit.Restore();
    measuring.unit.AnswerToAll();
    measuring.meter.SetFate(EFate::Good);
    EXPECT_THAT(measuring.Told(31s), StartsWith("good; "));
    EXPECT_EQ(measuring.Current()[0], 8000);
  }
}

TEST(ModbusMeasurementSourceTest, UnluckyTimingAtFirstIsForgivenAndSunSpecListsMayMove) {
  SMeasuring measuring("sunspec_213");
  measuring.unit.Overwrite(40100, 0x457a);  // 4000 W on L1, whose current was read before
  ASSERT_TRUE(measuring.source->Init());
  measuring.scheduler.RunFor(0ms);
  EXPECT_FALSE(measuring.source->HasMeasurement(EMeasureType::Current));
  measuring.unit.Restore();
  measuring.scheduler.RunFor(1250ms);
  EXPECT_EQ(measuring.Current(), (ThreePhaseValue{8000, 0, 3000}));
  measuring.unit.Overwrite(40100, 0x457a);
  measuring.scheduler.RunFor(1250ms);
  EXPECT_EQ(measuring.source->GetMeasurements(EMeasureType::ActivePower), (ThreePhaseValue{4701}))
      << "once the registers are known, things may happen between two of them";

  measuring.unit.Overwrite(40074, 0x7fc0);  // where L1's current was
  const auto before = measuring.Count().requests;
  measuring.scheduler.RunFor(2500ms);
  EXPECT_EQ(measuring.Count().requests - before, 5U) << "read, and then: found, walked, read";
  EXPECT_THAT(measuring.Told(), Not(HasSubstr("error")));
}

TEST(ModbusMeasurementSourceTest, ParametersThatAreNoGoodAreAnErrorState) {
  SMeasuring measuring("eastron_sdm630", R"(,"phases":2)");
  EXPECT_FALSE(measuring.source->Init());
  EXPECT_EQ(measuring.Told(),
            "in error; Modbus meter cannot be read: parameter \"phases\" is 2, allowed is 1 or 3");
  CModbusMeasurementSource without(measuring.scheduler, nullptr, kTcp, {}, {}, {});
  EXPECT_FALSE(without.Init());
  EXPECT_EQ(measuring.Told(), "Modbus meter cannot be read: there is no way to Modbus meters here");
}

}  // namespace
