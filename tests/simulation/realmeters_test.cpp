#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "platform/http/curlhttpclient.h"
#include "platform/log/logcapture.h"
#include "platform/modbus/modbusconnector.h"
#include "platform/utility/jsontext.h"
#include "platform/utility/posixfiles.h"
#include "platform/worker/realscheduler.h"
#include "simulation/homewizardserver.h"
#include "simulation/modbusrtuserver.h"
#include "simulation/modbusserver.h"
#include "simulation/p1pty.h"
#include "src/communication/communicationlistener.h"
#include "src/communication/rs485hal.h"
#include "src/components/measurementsources/homewizard.h"
#include "src/components/measurementsources/modbusmeasurementsource.h"
#include "src/components/measurementsources/p1extender.h"
#include "src/components/measurementsources/p1parser.h"
#include "support/eventually.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::Contains;
using testing::HasSubstr;
using EFate = CHouseMeter::EFate;

constexpr CP1Extender::SPeriods kQuick{40ms, 400ms, 300ms};

/// The house's meter behind lines and networks as they are, read by what ships.
class RealMetersTest : public ::testing::Test {
 protected:
  RealMetersTest() {
    std::string pattern = (fs::temp_directory_path() / "realmeters.XXXXXX").string();
    mRoot = ::mkdtemp(pattern.data());
    mHouse.SetLoads({8000, 0, 3000});
  }
  ~RealMetersTest() override { fs::remove_all(mRoot); }

  /// With the meter there, and after each of its absences; the reasons are those of the source's errors.
  void Measure(IMeasurementSource& source, const char* whenAway, const char* whenGarbled) {
    std::atomic<bool> isInError = false;
    source.RegisterErrorHandler([&isInError](bool error) { isInError = error; });
    const auto measures = [&] {
      if (isInError || !source.HasMeasurement(EMeasureType::Current)) return false;
      const ThreePhaseValue current = source.GetMeasurements(EMeasureType::Current);
      return std::abs(current[0] - 8000) < 5 && current[1] == 0 && std::abs(current[2] - 3000) < 5;
    };
    EXPECT_TRUE(Eventually(measures));
    for (const auto& [fate, reason] : {std::pair(EFate::Away, whenAway), {EFate::Garbled, whenGarbled}}) {
      mMeter.SetFate(fate);
      EXPECT_TRUE(Eventually([&] { return isInError && !source.HasMeasurement(EMeasureType::Current); }));
      EXPECT_THAT(mLog.Texts(Log::ELogLevel::Error), Contains(HasSubstr(reason)));
      mMeter.SetFate(EFate::Good);
      EXPECT_TRUE(Eventually(measures));
    }
    source.DeInit();
  }

  void MeasureModbus(EModbusConnectionKind kind, const std::string& parameters, const char* whenAway,
                     const char* whenGarbled) {
    Json::Value json;
    ASSERT_EQ(JsonText::ParseObject(parameters, json), "");
    CModbusMeasurementSource source(mScheduler, std::make_shared<CModbusConnector>(mScheduler), kind, json,
                                    {.device = "/dev/other"}, kQuick);
    ASSERT_TRUE(source.Init());
    Measure(source, whenAway, whenGarbled);
  }

  fs::path mRoot;
  CLogCapture mLog{Log::ELogLevel::Info};
  CRealScheduler mScheduler;
  CPosixFiles mFiles;
  CChargePoint mChargePoint{mScheduler};
  CHouse mHouse{mScheduler, mChargePoint};
  CHouseMeter mMeter{mScheduler, mHouse};
};

TEST_F(RealMetersTest, ModbusOverTcp) {
  CModbusUnit unit(mMeter, *FindModbusMeterModel("sunspec_203"));
  CModbusServer server(unit);
  ASSERT_TRUE(server.Start());
  CModbusServer second(unit, "127.0.0.1", server.Port());
  EXPECT_FALSE(second.Start());
  MeasureModbus(EModbusConnectionKind::Tcp,
                fmt::format(R"({{"type":"sunspec_203","address":"localhost:{}"}})", server.Port()),
                "connecting: Connection refused", "no SunSpec list is there");
}

TEST_F(RealMetersTest, ModbusOverALine) {
  CModbusUnit unit(mMeter, *FindModbusMeterModel("cg_em340"));
  CModbusRtuServer server(unit, mRoot / "line");
  ASSERT_TRUE(server.Start());
  MeasureModbus(EModbusConnectionKind::Rtu,
                fmt::format(R"({{"type":"cg_em340","device":"{}/line"}})", mRoot.string()),
                "No such file or directory", "Slave device or server failure");
  server.Stop();
  EXPECT_FALSE(fs::is_symlink(mRoot / "line"));
}

TEST_F(RealMetersTest, HomeWizardOverHttp) {
  CHomeWizardServer server(mScheduler, mMeter, {});
  ASSERT_TRUE(server.Start());
  Json::Value parameters;
  parameters["address"] = "127.0.0.1";
  CHomeWizard source(mScheduler,
                     {.createHttpClient = [] { return std::make_unique<CCurlHttpClient>(); },
                      .discovery = std::make_shared<CNoServiceDiscovery>(),
                      .defaultPort = [&server] { return server.Port(); },
                      .store = [](const std::string&, const Json::Value&) {},
                      .files = mFiles,
                      .dumpFile = mRoot / "hw.log"},
                     parameters, kQuick);
  ASSERT_TRUE(source.Init());
  Measure(source, ": Connection refused", "/api: the answer is no JSON");
}

TEST_F(RealMetersTest, P1OverALineThatComesLater) {
  CP1Pty pty(mScheduler, mMeter, mRoot, 20ms);
  CP1Extender source(
      mScheduler,
      std::make_shared<CCommunicationListener>(
          std::make_unique<CRs485Hal>(SRs485Line{.path = pty.Path(), .autoDirection = true}),
          std::make_unique<CWorker>(mScheduler, "CCommunicationListener"), CBackOff(5ms, 40ms)),
      std::make_unique<CP1Parser>(mFiles, mRoot / "p1.log", nullptr), "The meter", kQuick);
  EXPECT_FALSE(source.Init()) << "there is no line yet";
  ASSERT_TRUE(pty.Start());
  Measure(source, "nothing was heard of it for 300 ms", "its telegrams are damaged");
  source.DumpLastReceivedData();
  std::string dump;
  EXPECT_FALSE(mFiles.Read(mRoot / "p1.log", dump));
  EXPECT_EQ(dump.substr(0, 15), "p1_version: 50\n");
  EXPECT_EQ(mLog.Count("Failed to read data: ::read returned 0"), 1);
  EXPECT_EQ(mLog.Count("The device for listening is heard again"), 1);
  EXPECT_EQ(mLog.Count("Checksum mismatch"), 1);
}

TEST_F(RealMetersTest, ThePtyRemovesNothingOfOthers) {
  fs::create_directory(mRoot / "dev");
  CP1Pty first(mScheduler, mMeter, mRoot);
  std::ofstream(first.Path()) << "a file";
  EXPECT_FALSE(first.Start());
  first.Stop();
  ASSERT_TRUE(fs::is_regular_file(first.Path()));
  fs::remove(first.Path());

  EXPECT_TRUE(first.Start());
  CP1Pty second(mScheduler, mMeter, mRoot);
  EXPECT_FALSE(second.Start());
  second.Stop();
  EXPECT_TRUE(fs::is_symlink(first.Path()));
  first.Stop();
  EXPECT_FALSE(fs::is_symlink(first.Path()));
  EXPECT_EQ(
      mLog.Count("There is no meter at \"" + first.Path().string() + "\": there is something else already"),
      2);
}

}  // namespace
