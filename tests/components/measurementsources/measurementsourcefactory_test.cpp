#include "src/components/measurementsources/measurementsourcefactory.h"

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/utility/jsontext.h"
#include "platform/worker/virtualscheduler.h"
#include "simulation/memoryfiles.h"
#include "src/components/currentcontrolconfig.h"
#include "support/memoryconfig.h"
#include "support/scriptedchip.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

Json::Value Parsed(std::string_view text) {
  Json::Value value;
  EXPECT_EQ(JsonText::ParseObject(text, value), "");
  return value;
}

class CMeasurementSourceFactoryTest : public ::testing::Test {
 protected:
  CVirtualScheduler mScheduler;
  CMemoryFiles mFiles;
  SChipScript mChip;
  std::string mFault;  // why no chip can be made; empty: it can
  CLogCapture mLog{Log::ELogLevel::Info};
  CMeasurementSourceFactory mFactory{
      {.scheduler = mScheduler,
       .files = mFiles,
       .root = "/",
       .config = std::make_shared<CCurrentControlConfig>(std::make_shared<CMemoryConfig>(),
                                                         std::make_shared<CMemoryConfig>()),
       .access = {.createCtMeter =
                      [this] {
                        if (!mFault.empty()) throw Hal::MeterException(mFault);
                        return std::make_unique<CScriptedChip>(mChip);
                      }},
       .stationMeter = {},
       .implausibleCt = {},
       .p1Version = {},
       .storeHomeWizard = {}}};
};

TEST_F(CMeasurementSourceFactoryTest, HandsTheSameSourceOutForTheSameJson) {
  const auto source = mFactory.Create("ct", Parsed(R"({"type": "C-CT-16", "x": [1, {"y": 2.0}]})"));
  ASSERT_NE(source, nullptr);
  EXPECT_EQ(mFactory.Create("CT", Parsed(R"({"x":[1.0,{"y":2}],"type":"C-CT-16"})")), source);
  for (const auto* other :
       {R"({"type": "C-CT-16"})", R"({"type": "c-ct-16", "x": [1, {"y": 2}]})",
        R"({"type": "C-CT-16", "x": [1, {"y": 2.5}]})", R"({"type": "C-CT-16", "x": [true, {"y": 2}]})",
        R"({"type": "C-CT-16", "x": [1, {"y": 2}, 3]})", R"({"type": "C-CT-16", "z": [1, {"y": 2}]})"}) {
    EXPECT_NE(mFactory.Create("ct", Parsed(other)), source) << other;
  }
  const auto largest = mFactory.Create("ct", Parsed(R"({"n": 18446744073709551615})"));
  EXPECT_NE(mFactory.Create("ct", Parsed(R"({"n": 18446744073709551616.0})")), largest) << "one as a double";
}

/// One line, and one meter to be found, whatever else is written down.
TEST_F(CMeasurementSourceFactoryTest, TellsNoMetersApartThatAreOneAndNamesWhatIsMisspelt) {
  EXPECT_EQ(mFactory.Create("P1Extender", Parsed(R"({"note": 1})")), mFactory.Create("p1extender", {}));
  const auto found = mFactory.Create("homewizard", {});
  EXPECT_EQ(mFactory.Create("HomeWizard", Parsed(R"({"address": ""})")), found);
  EXPECT_NE(mFactory.Create("homewizard", Parsed(R"({"address": "10.0.0.5"})")), found);

  mLog.Clear();
  mFactory.Create("homewizard", Parsed(R"({"adress": "10.0.0.5"})"));
  mFactory.Create("modbustcp", Parsed(R"({"TYPE": "janitza_umg", "UnitID": 3, "device": "/dev/a"})"));
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Warning),
              ElementsAre("Parameter \"adress\" of a measurement source of type homewizard is unknown and "
                          "ignored, known are: address, serial",
                          HasSubstr("\"device\" of a measurement source of type modbustcp is unknown")));
}

TEST_F(CMeasurementSourceFactoryTest, SaysWhatItCannotMakeOrReach) {
  EXPECT_EQ(mFactory.Create("C\nT", {}), nullptr);
  EXPECT_EQ(mLog.Count("Measurement source type \"c t\" is unknown, known are: ct, p1extender, homewizard, "
                       "modbustcp, modbusrtu"),
            1);
  mLog.Clear();
  const auto parameters = Parsed(R"({"type": "janitza_umg", "address": "10.0.0.5"})");
  for (const auto* type : {"p1extender", "homewizard", "modbustcp", "modbusrtu"}) {
    const auto source = mFactory.Create(type, parameters);
    ASSERT_NE(source, nullptr) << type;
    EXPECT_FALSE(source->Init()) << type;
  }
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Error),
              ElementsAre("The P1 extender at /dev/ttymxc4 cannot be read: there is no serial line to it",
                          HasSubstr("HTTP"), HasSubstr("Modbus"), HasSubstr("Modbus")));
}

TEST_F(CMeasurementSourceFactoryTest, InitializesWhatIsHeldWithAChipThatMayAppearLate) {
  mFault = "no folder";
  auto dropped = mFactory.Create("ct", Parsed(R"({"type": "C-CT-10"})"));
  const auto source = mFactory.Create("ct", Parsed(R"({"type": "C-CT-16"})"));
  dropped.reset();
  mChip.Set(100000, 0, 0);
  mFactory.InitSources();
  mScheduler.RunFor(Milliseconds{20000});
  mFault = "no file";
  mScheduler.RunFor(Milliseconds{20000});
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Error),
              ElementsAre("No metering chip: no folder", "Ade7854 Initialization failed",
                          "No metering chip: no file"));
  mFault.clear();
  mChip.canBeInitialized = false;
  mScheduler.RunFor(Milliseconds{10000});
  mChip.canBeInitialized = true;
  mScheduler.RunFor(Milliseconds{6250});
  EXPECT_EQ(mChip.initializations, 3);
  EXPECT_THAT(source->GetMeasurements(EMeasureType::Current), ElementsAre(2875, 0, 0));
  mFactory.DeInitSources();
  EXPECT_FALSE(source->HasMeasurement(EMeasureType::Current));
}

}  // namespace
