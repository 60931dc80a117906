#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>

#include "ipc/genericcontrol.service.h"

#include "platform/log/logcapture.h"
#include "simulation/virtualstation.h"

namespace {

using EFault = Rpc::CInProcessNetwork::EFault;

class CServiceLifeTest : public ::testing::Test {
 protected:
  std::uint32_t Offered() { return mStation.Peers().BasicCharge().LastArrival().value().milliAmpere; }

  CLogCapture mLog{Log::ELogLevel::Info};
  CVirtualStation mStation{{.hwinfo = R"({"HwMaxCurrent": 32, "HwOneOrThreePhase": 3, "HwHasMeter": true,
                                          "HwHasSocket": false})",
                            .settings = R"({"CurrentCtrlFixedChargeCurrentLimit": 25,
                                            "UserDefinedChargeLimitCurrentAllowed": true})",
                            .secrets = ""}};
};

TEST_F(CServiceLifeTest, ChangedSettingTakesEffectWithoutRestart) {
  mStation.Start();
  mStation.RunFor(std::chrono::seconds(1));
  EXPECT_EQ(Offered(), 25000U);
  const std::string other =
      R"({"UserDefinedChargeLimitCurrentAllowed": true, "UserDefinedChargeLimitCurrent": )";
  for (const auto& [content, milliAmpere, errors] :
       {std::tuple(other + "13}", 13000U, 0U), {"{ broken", 13000U, 1U}, {other + "-5}", 0U, 2U}}) {
    mStation.Files().Write(CVirtualStation::SettingsPath(), content);
    mStation.RunFor(std::chrono::seconds(1));
    EXPECT_EQ(Offered(), milliAmpere) << content;
    EXPECT_EQ(mLog.Texts(Log::ELogLevel::Error).size(), errors) << content;
  }
}

TEST_F(CServiceLifeTest, StationWithoutConfigurationGivesNothing) {
  CVirtualStation bare({});
  bare.Start();
  bare.RunFor(std::chrono::seconds(5));
  EXPECT_EQ(bare.Peers().BasicCharge().LastArrival().value().milliAmpere, 0U);
  // Said to overcurrent protection and to the current limiter.
  EXPECT_EQ(mLog.Count("HwMaxCurrent is set to 0 in hwinfo.json"), 2);
  EXPECT_EQ(mLog.Count("CurrentCtrlFixedChargeCurrentLimit is set to 0 in settings.json"), 2);
}

TEST_F(CServiceLifeTest, BlackoutProtectionHoldsChargingFromTheFirstSetpointOn) {
  CVirtualStation house(
      {.hwinfo = R"({"HwMaxCurrent": 32, "HwOneOrThreePhase": 3})",
       .settings = R"({"CurrentCtrlFixedChargeCurrentLimit": 25, "CurrentCtrlBopEnable": true,
                                         "CurrentCtrlBopFuseRating": 25, "CurrentCtrlBopCtType": "C-CT-16"})",
       .secrets = ""});
  std::vector<std::uint32_t> arrived;
  house.Peers().BasicCharge().OnArrival([&](const auto& arrival) { arrived.push_back(arrival.milliAmpere); });
  house.House().SetLoads({9000, 1000, 0});
  house.Start();
  house.RunFor(std::chrono::seconds(2));
  EXPECT_THAT(arrived,
              ::testing::ElementsAre(0U, ::testing::AllOf(::testing::Ge(14740U), ::testing::Le(14760U))));
}

TEST_F(CServiceLifeTest, PeersThatComeAndGoAreToldOnceEachAndFoundAgain) {
  for (const char* peer : {"Adac", "NetM", "SafetyMcuComm", "Meter", "Diagnostics"}) {
    mStation.SetFault(peer, EFault::Absent);
  }
  mStation.Start();
  mStation.RunFor(std::chrono::hours(1));
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Warning), ::testing::SizeIs(6))
      << "a condition that lasts is no news: each peer, and what follows of the meter's silence";
  EXPECT_EQ(Offered(), 25000U);
  mStation.SetFault("Diagnostics", EFault::None);
  mStation.RunFor(std::chrono::minutes(1));
  EXPECT_EQ(mStation.Peers().Diagnostics().Newest(142).value_or(ipc::MDiagnosticsSignal()).text(),
            "ECurrentControlConfigurationLimit")
      << "what was kept is sent";
}

TEST_F(CServiceLifeTest, MeterConnectionIsKeptAndForgottenOnRequest) {
  mStation.Files().Write(CVirtualStation::SettingsPath(), R"({"BopSource": "homewizard"})");
  mStation.Start();
  mStation.RunFor(std::chrono::seconds(5));
  ipc::CCurrentControlClient client(mStation.Clients().CreateClient("CurrentControl"));
  ipc::MMeasurementSource meter;
  meter.set_type("homewizard");
  meter.set_parameters(R"({"address": "10.0.0.7"})");
  EXPECT_EQ(client.SetMeasurementSourceConnection(meter).value.code(), 0U);
  mStation.RunFor(std::chrono::seconds(1));
  const auto settings = [&] { return mStation.Files().Content(CVirtualStation::SettingsPath()).value(); };
  EXPECT_THAT(settings(), ::testing::HasSubstr("10.0.0.7"));
  EXPECT_EQ(client.ClearMeasurementSourceConnection({}).value.code(), 0U);
  mStation.RunFor(std::chrono::seconds(1));
  EXPECT_THAT(settings(), ::testing::Not(::testing::HasSubstr("10.0.0.7")));
}

TEST_F(CServiceLifeTest, TemperaturesOfAllPeersReachDiagnostics) {
  mStation.Start();
  mStation.Play(ReadScenario("warm", R"({"events": [{"at": "00:00:01", "temperature":
      {"adac": 38, "netm": 41.5, "mcu": {"relay1": 46, "relay2": 45, "earth-leakage-detector1": 30}}}]})"));
  mStation.RunFor(std::chrono::minutes(10));
  const auto signal = mStation.Peers().Diagnostics().Newest(30000).value();
  EXPECT_THAT(signal.floats().values(),
              ::testing::ElementsAre(30.0F, ::testing::IsNan(), 46.0F, 45.0F, 41.5F, 38.0F))
      << "of the second was never heard";
}

TEST_F(CServiceLifeTest, SecondInstanceLeavesTheSetpointOfTheFirstAlone) {
  mStation.Start();
  mStation.RunFor(std::chrono::seconds(5));
  const auto before = mStation.Peers().BasicCharge().LastArrival().value().when;
  EXPECT_THROW(mStation.StartSecondInstance(), Rpc::CStartError);
  mStation.RunFor(std::chrono::seconds(5));
  EXPECT_EQ(mStation.Peers().BasicCharge().LastArrival().value().when, before);
}

TEST_F(CServiceLifeTest, DeadChargeControlDoesNotHoldUpTheEnd) {
  mStation.Start();
  mStation.RunFor(std::chrono::seconds(5));
  mStation.SetFault("ChargeControlBasicCharge", EFault::Hanging);
  mStation.Terminate();
  ipc::CGenericControlClient control(mStation.Clients().CreateClient("CurrentControlGenCtrl"));
  EXPECT_EQ(control.Alive({}).status, Rpc::EStatus::Unreachable) << "the service is gone";
}

}  // namespace
