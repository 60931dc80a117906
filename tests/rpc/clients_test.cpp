#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "platform/log/logcapture.h"
#include "platform/rpc/appcommunicationhost.h"
#include "platform/rpc/inprocessbackend.h"
#include "platform/worker/virtualscheduler.h"
#include "simulation/memoryfiles.h"
#include "simulation/simulatedadac.h"
#include "simulation/simulatedbasiccharge.h"
#include "simulation/simulatednetm.h"
#include "simulation/simulatedsafetymcucomm.h"
#include "src/rpc/clients/chargecontrolservice.h"
#include "src/rpc/clients/meterservice.h"
#include "src/rpc/clients/temperaturelinks.h"

namespace {

using namespace std::chrono_literals;
using EFault = Rpc::CInProcessNetwork::EFault;

class CMeter final : public ipc::IMeter {
 public:
  ipc::MResult Enable(const ipc::MEmpty&) override {
    ipc::MResult result;
    result.set_code(++mEnabled <= mRefusals ? 1 : 0);
    return result;
  }
  Rpc::CNotifier<ipc::MMeterData>& ValueNotifications() override { return mNotifier; }

  int mEnabled = 0;
  int mRefusals = 0;
  Rpc::CNotifier<ipc::MMeterData> mNotifier;
};

class CClientsTest : public ::testing::Test {
 protected:
  using Host = Rpc::AppCommunicationHost<Rpc::InProcessBackend>;

  std::shared_ptr<Rpc::CClient> Client(const std::string& name) { return mHost.CreateClient(name); }
  void Run(Milliseconds span) { mScheduler.RunFor(span); }
  void Fail(EFault fault, const std::string& socket) {
    mNetwork->SetFault("unix:/station/run/ipc/" + socket + ".sock", fault);
  }

  CLogCapture mLog;
  CVirtualScheduler mScheduler;
  CMemoryFiles mFiles;
  std::shared_ptr<Rpc::CInProcessNetwork> mNetwork = std::make_shared<Rpc::CInProcessNetwork>(mScheduler);
  Host mHost{Rpc::InProcessBackend(mNetwork), mFiles, "/station"};
};

class CChargeControlServiceTest : public CClientsTest {
 protected:
  CChargeControlServiceTest() {
    mPeer->OnArrival([this](const auto& arrival) {
      mArrived += fmt::format(" {}/{}", arrival.milliAmpere, arrival.phases);
    });
    mHost.RegisterService("ChargeControlBasicCharge",
                          ipc::CreateService(std::shared_ptr<ipc::IBasicCharge2>(mPeer)));
    mLink.Connect([this](ipc::EChargingState state) { mStates.push_back(state); });
  }
  void Start() {
    mHost.Start();
    Run(1s);
  }
  /// What arrives until then, in mA and phases.
  std::string ArrivesIn(Milliseconds span) {
    Run(span);
    return std::exchange(mArrived, "");
  }
  void Fail(EFault fault) { CClientsTest::Fail(fault, "chargecontrolbasiccharge"); }

  CChargePoint mChargePoint{mScheduler};
  const std::shared_ptr<CSimulatedBasicCharge> mPeer =
      std::make_shared<CSimulatedBasicCharge>(mScheduler, mChargePoint);
  std::string mArrived;
  std::vector<ipc::EChargingState> mStates;
  CChargeControlService mLink{mScheduler, Client("ChargeControlBasicCharge")};
};

TEST_F(CChargeControlServiceTest, PeerThatComesOrComesBackOrDidNotAnswerIsGivenTheNewestSetpointOnce) {
  mLink.SetChargeCurrent(16000, 3);
  EXPECT_EQ(mLink.SetChargeCurrent(10000, 1).code(), 1U);
  mHost.Start();
  EXPECT_EQ(ArrivesIn(1min), " 10000/1");
  Fail(EFault::Absent);
  Run(1min);
  Fail(EFault::None);
  EXPECT_EQ(ArrivesIn(5s), " 10000/1");
  Fail(EFault::Hanging);
  EXPECT_EQ(mLink.SetChargeCurrent(6000, 3).code(), 1U);
  Fail(EFault::None);
  EXPECT_EQ(ArrivesIn(CChargeControlService::kRetryInterval), " 6000/3") << "though the link stands";
  EXPECT_EQ(mLog.Count("Charge control was given the setpoint of 6000 mA on 3 phases again and took it"), 1);
}

TEST_F(CChargeControlServiceTest, RefusedSetpointIsRepeatedOnRequestOnlyAndToldWhenTaken) {
  std::string taken;
  mLink.OnTaken([&](auto milliAmpere, auto phases) { taken += fmt::format(" {}/{}", milliAmpere, phases); });
  EXPECT_EQ(mLink.EnsureTaken().code(), 1U) << "nothing was said yet";
  Start();
  mPeer->Refuse(true);
  EXPECT_EQ(mLink.SetChargeCurrent(0, 3).code(), 1U);
  EXPECT_EQ(ArrivesIn(1min), " 0/3");
  EXPECT_EQ(mLink.EnsureTaken().code(), 1U);
  mPeer->Refuse(false);
  for (int time = 0; time < 2; ++time) EXPECT_EQ(mLink.EnsureTaken().code(), 0U);
  EXPECT_EQ(ArrivesIn(0s), " 0/3 0/3") << "what was taken is not said again";
  Fail(EFault::Hanging);
  mLink.SetChargeCurrent(13000, 3);
  mLink.SetChargeCurrent(6000, 3);
  EXPECT_EQ(taken, " 0/3 13000/3") << "a raised one may have been taken";
}

TEST_F(CChargeControlServiceTest, StopIsHandedOverUntilItIsAnsweredOrTheVehicleIsGone) {
  const auto charging = [this](CVehicle::EState state) {
    mPeer->TellChargingState(state);
    mScheduler.RunDue();
  };
  const auto stopWhileItHangs = [&] {
    Fail(EFault::Hanging);
    mLink.StopCharging();
    mLink.SetChargeCurrent(16000, 3);
    Fail(EFault::None);
  };
  Start();
  charging(CVehicle::EState::Charging);
  stopWhileItHangs();
  EXPECT_EQ(mLog.Count("Charge control could not be told to stop charging, trying again"), 1);
  EXPECT_EQ(ArrivesIn(1min), " 16000/3") << "which does not take the stop back";
  EXPECT_EQ(mLog.Count("Charge control was told to stop charging"), 1);

  stopWhileItHangs();
  charging(CVehicle::EState::Absent);
  Run(1min);
  EXPECT_EQ(mLog.Count("The vehicle is gone, charge control need not stop charging any more"), 1);
  stopWhileItHangs();
  Run(1min);
  EXPECT_EQ(mLog.Count("Charge control was told to stop charging"), 1) << "the next vehicle is not stopped";
}

TEST_F(CChargeControlServiceTest, ChargingStatesOfOtherVersionsArriveAsNumbers) {
  Start();
  ipc::MChargingState state;
  state.set_state(static_cast<ipc::EChargingState>(77));
  mPeer->ChargingStateNotifications().Notify(state);
  Run(5s);
  EXPECT_EQ(mStates, std::vector{static_cast<ipc::EChargingState>(77)});
}

TEST_F(CClientsTest, MeterIsEnabledWheneverItComesAndItsNewestValuesAreKeptWithTheirAge) {
  const auto peer = std::make_shared<CMeter>();
  mHost.RegisterService("Meter", ipc::CreateService(peer));
  const auto vanish = [this](Milliseconds span) {
    Fail(EFault::Absent, "meter");
    Run(span);
    Fail(EFault::None, "meter");
  };
  CMeterService meter(mScheduler, Client("Meter"));
  meter.Enable();
  mHost.Start();
  Run(5s);
  EXPECT_FALSE(meter.Newest());
  ipc::MMeterData values;
  values.set_current2(-7000);
  peer->mNotifier.Notify(values);
  Run(3s);
  ASSERT_TRUE(meter.Newest());
  EXPECT_EQ(meter.Newest()->values.milliAmpere[1], -7000);
  EXPECT_EQ(meter.Newest()->age, 3s);

  vanish(7s);
  EXPECT_TRUE(meter.Newest());
  vanish(1s);
  EXPECT_FALSE(meter.Newest()) << "a silent meter has no value";
  Run(10s);
  EXPECT_EQ(peer->mEnabled, 2);
  peer->mRefusals = 4;
  vanish(5s);
  Run(1min);
  EXPECT_EQ(peer->mEnabled, 5) << "asked again until it agrees";
  EXPECT_EQ(mLog.Count("The station's meter refuses to be enabled, trying again"), 1);
}

TEST_F(CClientsTest, TemperaturesHaveTheNumbersOfTheirPeers) {
  const auto adac = std::make_shared<CSimulatedAdac>();
  const auto netM = std::make_shared<CSimulatedNetM>();
  const auto mcu = std::make_shared<CSimulatedSafetyMcuComm>();
  mHost.RegisterService("Adac", ipc::CreateService(std::shared_ptr<ipc::IAdac>(adac)));
  mHost.RegisterService("NetM", ipc::CreateService(std::shared_ptr<ipc::INetM>(netM)));
  mHost.RegisterService("SafetyMcuComm", ipc::CreateService(std::shared_ptr<ipc::ISafetyMcuComm>(mcu)));
  mHost.Start();
  std::string heard;
  const TemperatureHandler note = [&heard](EThermalSource source, float celsius) {
    heard += fmt::format(" {}:{}", static_cast<int>(source), celsius);
  };
  ipc::CAdacClient adacClient(Client("Adac"));
  ipc::CNetMClient netMClient(Client("NetM"));
  ipc::CSafetyMcuCommClient mcuClient(Client("SafetyMcuComm"));
  const auto adacLink = LinkTemperatures(adacClient, note);
  const auto netMLink = LinkTemperatures(netMClient, note);
  const auto mcuLink = LinkTemperatures(mcuClient, note);
  Run(1s);
  heard.clear();
  const auto notify = [this](auto& peer, const auto& message) {
    peer->TemperatureNotifications().Notify(message);
    mScheduler.RunDue();
  };
  ipc::MTemperature temperature;
  temperature.set_celsius(41.5F);
  notify(adac, temperature);
  temperature.set_celsius(-3.0F);
  notify(netM, temperature);
  ipc::MMcuTemperatures temperatures;
  notify(mcu, temperatures);
  EXPECT_EQ(mLog.Count("No temperature received from McuTemperatures notification"), 1);
  temperatures.set_earth_leakage_detector2(52.0F);
  temperatures.set_relay1(60.25F);
  temperatures.set_earth_leakage_detector1(51.0F);
  notify(mcu, temperatures);
  EXPECT_EQ(heard, " 5:41.5 4:-3 0:51 1:52 2:60.25");
  for (const auto* line :
       {"Received temperature notification from Adac: 41.5 °C", "Temperature received from NetM: -3 °C",
        "Received temperature notification from SMCU: [ Eld1: 51.000000 Eld2: 52.000000 Relay1: 60.250000 ] "
        "°C"}) {
    EXPECT_EQ(mLog.Count(line), 1) << line;
  }
}

}  // namespace
