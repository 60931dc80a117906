#include <string>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "simulation/virtualstation.h"

namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::Ge;
using ::testing::Le;

/// A station with a socket and a meter of its own, in a house with a smart meter on the network.
class CLimitingComponentsTest : public ::testing::Test {
 protected:
  static constexpr auto kHwinfo = R"({"HwMaxCurrent": 32, "HwOneOrThreePhase": 3, "HwHasMeter": true})";

  static std::string Settings(const std::string& more = "") {
    return fmt::format(R"({{"CurrentCtrlFixedChargeCurrentLimit": 25{}}})", more);
  }
  static std::string Solar(const std::string& more) {
    return Settings(fmt::format(
        R"(, "CurrentCtrlBopEnable": true, "CurrentCtrlBopFuseRating": 40, "BopSource": "modbustcp",
           "BopSourceParameters": "{{\"type\": \"{}\", \"address\": \"{}\"}}", "SolarChargingAllowed": true, {})",
        CVirtualStation::kModbusModel, CVirtualStation::kMeterAddress, more));
  }

  void Start(const std::string& settings) {
    mStation.emplace(CVirtualStation::SFiles{.hwinfo = kHwinfo, .settings = settings, .secrets = ""});
    mStation->Peers().PullCable();
    mStation->Start();
    mStation->RunFor(1s);
  }
  void Write(const std::string& settings) {
    mStation->Files().Write(CVirtualStation::SettingsPath(), settings);
  }
  /// What charge control has: mA, phases, and the source that decides.
  std::string Setpoint() {
    const auto arrival = mStation->Peers().BasicCharge().LastArrival().value();
    const auto source = mStation->Peers().Diagnostics().Newest(142);
    return fmt::format("{} {} {}", arrival.milliAmpere, arrival.phases,
                       source ? source->text().substr(std::string("ECurrentControl").size()) : "");
  }

  CLogCapture mLog{Log::ELogLevel::Info};
  std::optional<CVirtualStation> mStation;
};

TEST_F(CLimitingComponentsTest, VehicleThatDrawsTooMuchIsStoppedUntilItIsUnplugged) {
  Start(Settings());
  EXPECT_EQ(Setpoint(), "0 3 UserCable") << "before the cable is known";
  mStation->Peers().ChargePoint().Change(
      [](CVehicle& vehicle) { vehicle.SetProperties({.maxMilliAmpere = 32000, .excessPercent = 26}); });
  mStation->Peers().PlugCable(ipc::EPp20A);
  mStation->RunFor(1min);
  EXPECT_EQ(Setpoint(), "0 3 OvercurrentProtection");
  EXPECT_EQ(mLog.Count("Current limit (20000mA) exceeded for 5 seconds, stop charging and set diagnostics "
                       "signal(s)"),
            1);
  EXPECT_TRUE(mStation->Peers().Diagnostics().Newest(30402).value().boolean());
  EXPECT_EQ(mStation->Peers().ChargePoint().View().draw[0], 0U);

  mStation->Peers().PullCable();
  mStation->RunFor(1s);
  EXPECT_FALSE(mStation->Peers().Diagnostics().Newest(30402).value().boolean());
  mStation->Peers().ChargePoint().Change([](CVehicle& vehicle) { vehicle.SetProperties({}); });
  mStation->Peers().PlugCable(ipc::EPp20A);
  mStation->RunFor(1h);
  EXPECT_EQ(Setpoint(), "20000 3 UserCable");
  EXPECT_EQ(mStation->Peers().ChargePoint().View().draw[0], 16000U);
  mStation->Peers().PullCable();
  mStation->RunFor(1s);
  EXPECT_EQ(Setpoint(), "0 3 UserCable");
}

TEST_F(CLimitingComponentsTest, OvercurrentProtectionDoesNotHoldDownWhatOthersPaused) {
  Start(Settings());
  mStation->Peers().PlugCable(ipc::EPp32A);
  mStation->RunFor(1s);
  ipc::CCurrentControlClient client(mStation->Clients().CreateClient("CurrentControl"));
  ipc::MCurrentControlLimit limit;
  limit.set_source(ipc::ECurrentControlLocalRestApi);
  client.SetCurrentLimit(limit);
  mStation->RunFor(1min);
  EXPECT_EQ(Setpoint(), "0 3 LocalRestApi");
  client.ClearCurrentLimit(limit);
  mStation->RunFor(1s);
  EXPECT_EQ(Setpoint(), "25000 3 ConfigurationLimit");
}

TEST_F(CLimitingComponentsTest, SolarChargingFollowsTheSettingsWhileItRuns) {
  const std::string off = Solar(R"("SolarChargingEnable": false)");
  const auto mode = [](const char* name) {
    return Solar(fmt::format(R"("SolarChargingEnable": true, "SolarChargingMode": "{}")", name));
  };
  Start(off);
  mStation->House().SetGeneration({0, 9000, 0});
  mStation->Peers().PlugCable(ipc::EPp32A);
  mStation->RunFor(1min);
  EXPECT_EQ(Setpoint(), "25000 3 ConfigurationLimit");
  Write(mode("PureSolar"));
  mStation->RunFor(20s);
  EXPECT_EQ(Setpoint(), "0 1 SolarCharging") << "held until there has been enough for long enough";
  mStation->RunFor(2min);
  const auto pure = mStation->Peers().BasicCharge().LastArrival().value();
  EXPECT_THAT(pure.milliAmpere, AllOf(Ge(8600U), Le(9200U))) << "what the roof gives";
  EXPECT_EQ(pure.phases, 1U);
  Write(mode("MaxSolar"));
  mStation->RunFor(40s);
  EXPECT_EQ(Setpoint(), "25000 3 ConfigurationLimit") << "the grid adds what the roof does not give";
  Write(off);
  mStation->RunFor(20s);
  EXPECT_EQ(Setpoint(), "25000 3 ConfigurationLimit");
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Warning), ElementsAre());
}

}  // namespace
