#include "src/components/measurementsources/modbusmeasurementsource.h"

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/utility/jsontext.h"
#include "platform/worker/virtualscheduler.h"
#include "simulation/simulatedmodbus.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using EFate = CHouseMeter::EFate;

constexpr auto kRtu = EModbusConnectionKind::Rtu;
constexpr auto kTcp = EModbusConnectionKind::Tcp;

/// A meter in a house, and current control's source for it.
struct SMeasuring {
  explicit SMeasuring(const std::string& type, const std::string& more = "")
      : unit(meter, *FindModbusMeterModel(type)) {
    house.SetLoads({8000, 0, 3000});
    Json::Value json;
    EXPECT_EQ(JsonText::ParseObject(R"({"address":"meter","type":")" + type + "\"" + more + "}", json), "");
    const bool isRtu = unit.Model().Has(kRtu);
    source = std::make_unique<CModbusMeasurementSource>(scheduler, connector, isRtu ? kRtu : kTcp, json,
                                                        SModbusRtuLine{.device = "/dev/line"},
                                                        CModbusMeasurementSource::SPeriods{});
    source->RegisterErrorHandler([this](bool error) { errors.push_back(error); });
  }

  ThreePhaseValue Current() { return source->GetMeasurements(EMeasureType::Current); }

  CLogCapture log;
  CVirtualScheduler scheduler;
  CChargePoint chargePoint{scheduler};
  CHouse house{scheduler, chargePoint};
  CHouseMeter meter{scheduler, house};
  CModbusUnit unit;
  std::shared_ptr<CSimulatedModbus> connector = std::make_shared<CSimulatedModbus>(unit);
  std::vector<bool> errors;
  std::unique_ptr<CModbusMeasurementSource> source;
};

TEST(ModbusMeasurementSourceTest, EveryModelIsReadOncePerPeriod) {
  using enum EMeasureType;
  for (const auto& model : ModbusMeterModels()) {
    SCOPED_TRACE(model.name);
    SMeasuring measuring{std::string(model.name)};
    ASSERT_TRUE(measuring.source->Init());
    measuring.scheduler.RunDue();
    std::array<ThreePhaseValue, 3> expected{{{8000, 0, 3000}, {2541}, {231, 232, 232}}};
    if (model.map.phases == 1) expected = {{{8000}, {1846}, {231}}};
    if (model.name == "eastron_sdm72dm_v1") expected = {{{}, {2541}, {}}};
    for (const auto type : {Current, ActivePower, Voltage})
      EXPECT_EQ(measuring.source->GetMeasurements(type), expected[static_cast<std::size_t>(type)]);
    measuring.scheduler.RunFor(Milliseconds{12500});
    // Eleven readings, and the search for SunSpec registers before.
    EXPECT_LE(measuring.connector->Count().requests, 33U);
    EXPECT_EQ(measuring.connector->Count().connections, 1U);
    EXPECT_THAT(measuring.log.Texts(Log::ELogLevel::Error), testing::IsEmpty());
  }
}

TEST(ModbusMeasurementSourceTest, AConnectionThatIsCutIsMadeAnewBeforeThatIsAnError) {
  SMeasuring measuring("abb_b23");
  ASSERT_TRUE(measuring.source->Init());
  measuring.scheduler.RunDue();
  measuring.connector->CutNext();
  measuring.scheduler.RunFor(std::chrono::seconds(4));
  EXPECT_EQ(measuring.connector->Count().connections, 2U);
  EXPECT_EQ(measuring.Current(), (ThreePhaseValue{8000, 0, 3000}));
  EXPECT_THAT(measuring.errors, testing::IsEmpty());
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
      {"abb_b23", "", overwrite(23318, 0x7fff), "about 2e+07 W on L1 cannot be", 1},
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
    measuring.scheduler.RunFor(std::chrono::minutes(1));
    EXPECT_EQ(measuring.connector->Count().connections, each.connections);
    EXPECT_THAT(measuring.errors, ElementsAre(true));
    const auto lines = measuring.log.Texts(Log::ELogLevel::Error);
    EXPECT_THAT(lines, testing::Contains(HasSubstr(each.reason)));
    EXPECT_LE(lines.size(), 2U) << testing::PrintToString(lines);
    measuring.unit.Restore();
    measuring.unit.AnswerToAll();
    measuring.meter.SetFate(EFate::Good);
    measuring.scheduler.RunFor(std::chrono::seconds(31));
    EXPECT_THAT(measuring.errors, ElementsAre(true, false));
    EXPECT_EQ(measuring.Current()[0], 8000);
  }
}

TEST(ModbusMeasurementSourceTest, UnluckyTimingAtFirstIsForgivenAndSunSpecListsMayMove) {
  SMeasuring measuring("sunspec_213");
  measuring.unit.Overwrite(40100, 0x457a);  // 4000 W on L1, whose current was read before
  ASSERT_TRUE(measuring.source->Init());
  measuring.scheduler.RunDue();
  EXPECT_FALSE(measuring.source->HasMeasurement(EMeasureType::Current));
  measuring.unit.Restore();
  measuring.scheduler.RunFor(std::chrono::milliseconds(1250));
  EXPECT_EQ(measuring.Current(), (ThreePhaseValue{8000, 0, 3000}));
  measuring.unit.Overwrite(40100, 0x457a);
  measuring.scheduler.RunFor(std::chrono::milliseconds(1250));
  EXPECT_EQ(measuring.source->GetMeasurements(EMeasureType::ActivePower), (ThreePhaseValue{4701}))
      << "once the registers are known, things may happen between two of them";

  measuring.unit.Overwrite(40074, 0x7fc0);  // where L1's current was
  const auto before = measuring.connector->Count().requests;
  measuring.scheduler.RunFor(std::chrono::milliseconds(2500));
  EXPECT_EQ(measuring.connector->Count().requests - before, 5U) << "read, and then: found, walked, read";
  EXPECT_EQ(measuring.errors.size(), 0U);
}

TEST(ModbusMeasurementSourceTest, ParametersThatAreNoGoodAreAnErrorState) {
  SMeasuring measuring("eastron_sdm630", R"(,"phases":2)");
  EXPECT_FALSE(measuring.source->Init());
  EXPECT_THAT(measuring.errors, ElementsAre(true));
  EXPECT_EQ(measuring.log.Count("Modbus meter cannot be read: parameter \"phases\" is 2, allowed is 1 or 3"),
            1);
  CModbusMeasurementSource without(measuring.scheduler, nullptr, kTcp, {}, {}, {});
  EXPECT_FALSE(without.Init());
  EXPECT_EQ(measuring.log.Count("Modbus meter cannot be read: there is no way to Modbus meters here"), 1);
}

}  // namespace
