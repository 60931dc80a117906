#include <atomic>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include "platform/log/logcapture.h"
#include "platform/modbus/modbusconnector.h"
#include "platform/utility/jsontext.h"
#include "platform/worker/realscheduler.h"
#include "simulation/modbusrtuserver.h"
#include "simulation/modbusserver.h"
#include "src/components/measurementsources/modbusmeasurementsource.h"

namespace {

using EFate = CHouseMeter::EFate;

constexpr CModbusMeasurementSource::SPeriods kQuick{Milliseconds{40}, Milliseconds{400}, Milliseconds{200}};

bool Comes(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition() && std::chrono::steady_clock::now() < end)
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  return condition();
}

class CModbusServersTest : public testing::Test {
 protected:
  /// Reads the meter with what ships, takes it away and brings it back.
  void Measure(EModbusConnectionKind kind, const std::string& parameters) {
    mHouse.SetLoads({8000, 0, 3000});
    Json::Value json;
    ASSERT_EQ(JsonText::ParseObject(parameters, json), "");
    std::atomic<bool> isInError = false;
    const auto source = std::make_unique<CModbusMeasurementSource>(
        mScheduler, std::make_shared<CModbusConnector>(mScheduler), kind, json,
        SModbusRtuLine{.device = "/dev/other"}, kQuick);
    source->RegisterErrorHandler([&isInError](bool error) { isInError = error; });
    ASSERT_TRUE(source->Init());
    const auto measures = [&] {
      return !isInError && source->GetMeasurements(EMeasureType::Current) == ThreePhaseValue{8000, 0, 3000};
    };
    EXPECT_TRUE(Comes(measures));
    for (const EFate fate : {EFate::Away, EFate::Garbled}) {
      mMeter.SetFate(fate);
      EXPECT_TRUE(Comes([&] { return isInError.load(); }));
      mMeter.SetFate(EFate::Good);
      EXPECT_TRUE(Comes(measures));
    }
  }

  CLogCapture mLog;
  CRealScheduler mScheduler;
  CChargePoint mChargePoint{mScheduler};
  CHouse mHouse{mScheduler, mChargePoint};
  CHouseMeter mMeter{mScheduler, mHouse};
};

TEST_F(CModbusServersTest, ServeTheSourceOverTcp) {
  CModbusUnit unit(mMeter, *FindModbusMeterModel("sunspec_203"));
  CModbusServer server(unit);
  ASSERT_TRUE(server.Start());
  CModbusServer second(unit, "127.0.0.1", server.Port());
  EXPECT_FALSE(second.Start());
  Measure(EModbusConnectionKind::Tcp,
          fmt::format(R"({{"type":"sunspec_203","address":"localhost:{}"}})", server.Port()));
}

TEST_F(CModbusServersTest, ServeTheSourceOverALine) {
  const auto link = std::filesystem::temp_directory_path() / fmt::format("modbusservers_test{}", ::getpid());
  CModbusUnit unit(mMeter, *FindModbusMeterModel("cg_em340"));
  CModbusRtuServer server(unit, link);
  ASSERT_TRUE(server.Start());
  Measure(EModbusConnectionKind::Rtu, fmt::format(R"({{"type":"cg_em340","device":"{}"}})", link.string()));
  server.Stop();
  EXPECT_FALSE(std::filesystem::is_symlink(link));
}

}  // namespace
