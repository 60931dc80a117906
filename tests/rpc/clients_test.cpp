#include <memory>
#include <string>
#include <tuple>
#include <vector>

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

using EFault = Rpc::CInProcessNetwork::EFault;
using Setpoints = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

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
    mPeer->OnArrival(
        [this](const auto& arrival) { mArrived.emplace_back(arrival.milliAmpere, arrival.phases); });
    mHost.RegisterService("ChargeControlBasicCharge",
                          ipc::CreateService(std::shared_ptr<ipc::IBasicCharge2>(mPeer)));
    mLink.Connect([this](ipc::EChargingState state) { mStates.push_back(state); });
  }
  void Start() {
    mHost.Start();
    mScheduler.RunFor(std::chrono::seconds(1));
  }
  void Fail(EFault fault) { CClientsTest::Fail(fault, "chargecontrolbasiccharge"); }

  CChargePoint mChargePoint{mScheduler};
  const std::shared_ptr<CSimulatedBasicCharge> mPeer =
      std::make_shared<CSimulatedBasicCharge>(mScheduler, mChargePoint);
  Setpoints mArrived;
  std::vector<ipc::EChargingState> mStates;
  CChargeControlService mLink{mScheduler, Client("ChargeControlBasicCharge")};
};

TEST_F(CChargeControlServiceTest, PeerThatStartsLaterIsGivenTheNewestSetpointOnce) {
  EXPECT_EQ(mLink.SetChargeCurrent(16000, 3).code(), 1U);
  EXPECT_EQ(mLink.SetChargeCurrent(10000, 1).code(), 1U);
  mHost.Start();
  mScheduler.RunFor(std::chrono::minutes(1));
  EXPECT_EQ(mArrived, (Setpoints{{10000, 1}}));
}

TEST_F(CChargeControlServiceTest, PeerThatWasAwayIsGivenTheSetpointAgain) {
  Start();
  EXPECT_EQ(mLink.SetChargeCurrent(16000, 3).code(), 0U);
  mScheduler.RunFor(std::chrono::minutes(1));
  ASSERT_EQ(mArrived, (Setpoints{{16000, 3}})) << "a peer that has the setpoint is left alone";

  Fail(EFault::Absent);
  mScheduler.RunFor(std::chrono::minutes(1));
  Fail(EFault::None);
  mScheduler.RunFor(std::chrono::seconds(5));
  EXPECT_EQ(mArrived, (Setpoints{{16000, 3}, {16000, 3}}));
}

TEST_F(CChargeControlServiceTest, SetpointThatTimedOutIsTriedAgainThoughTheLinkStands) {
  Start();
  Fail(EFault::Hanging);
  EXPECT_EQ(mLink.SetChargeCurrent(6000, 3).code(), 1U);
  Fail(EFault::None);
  mScheduler.RunFor(CChargeControlService::kRetryInterval);
  EXPECT_EQ(mArrived, (Setpoints{{6000, 3}}));
  EXPECT_EQ(mLog.Count("Charge control was given the setpoint of 6000 mA on 3 phases again and took it"), 1);
}

TEST_F(CChargeControlServiceTest, RefusedSetpointIsRepeatedOnRequestOnly) {
  EXPECT_EQ(mLink.EnsureTaken().code(), 1U) << "nothing was said yet";
  Start();
  mPeer->Refuse(true);
  EXPECT_EQ(mLink.SetChargeCurrent(0, 3).code(), 1U);
  mScheduler.RunFor(std::chrono::minutes(1));
  EXPECT_EQ(mArrived.size(), 1U);
  EXPECT_EQ(mLink.EnsureTaken().code(), 1U);
  mPeer->Refuse(false);
  EXPECT_EQ(mLink.EnsureTaken().code(), 0U);
  EXPECT_EQ(mLink.EnsureTaken().code(), 0U);
  EXPECT_EQ(mArrived.size(), 3U) << "what was taken is not said again";
}

TEST_F(CChargeControlServiceTest, OnlySetpointsThatWereTakenAreTold) {
  Setpoints taken;
  mLink.OnTaken(
      [&taken](std::uint32_t current, std::uint32_t phases) { taken.emplace_back(current, phases); });
  mLink.SetChargeCurrent(16000, 3);
  Start();
  mPeer->Refuse(true);
  mLink.SetChargeCurrent(10000, 3);
  mPeer->Refuse(false);
  mLink.SetChargeCurrent(0, 1);
  mLink.EnsureTaken();
  EXPECT_EQ(taken, (Setpoints{{16000, 3}, {0, 1}}));
  Fail(EFault::Hanging);
  mLink.SetChargeCurrent(13000, 3);
  mLink.SetChargeCurrent(6000, 3);
  EXPECT_EQ(taken, (Setpoints{{16000, 3}, {0, 1}, {13000, 3}})) << "a raised one may have been taken";
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
  mScheduler.RunFor(CChargeControlService::kRetryInterval);
  EXPECT_EQ(mArrived, (Setpoints{{16000, 3}})) << "which does not take the stop back";
  mScheduler.RunFor(std::chrono::minutes(1));
  EXPECT_EQ(mLog.Count("Charge control was told to stop charging"), 1);

  stopWhileItHangs();
  charging(CVehicle::EState::Absent);
  mScheduler.RunFor(std::chrono::minutes(1));
  EXPECT_EQ(mLog.Count("The vehicle is gone, charge control need not stop charging any more"), 1);
  stopWhileItHangs();
  mScheduler.RunFor(std::chrono::minutes(1));
  EXPECT_EQ(mLog.Count("Charge control was told to stop charging"), 1) << "the next vehicle is not stopped";
}

TEST_F(CChargeControlServiceTest, ChargingStatesOfOtherVersionsArriveAsNumbers) {
  mHost.Start();
  ipc::MChargingState state;
  state.set_state(static_cast<ipc::EChargingState>(77));
  mPeer->ChargingStateNotifications().Notify(state);
  mScheduler.RunFor(std::chrono::seconds(5));
  EXPECT_EQ(mStates, std::vector{static_cast<ipc::EChargingState>(77)});
}

TEST_F(CClientsTest, MeterIsEnabledWheneverItComesAndItsNewestValuesAreKeptWithTheirAge) {
  const auto peer = std::make_shared<CMeter>();
  mHost.RegisterService("Meter", ipc::CreateService(peer));
  CMeterService meter(mScheduler, Client("Meter"));
  meter.Enable();
  mHost.Start();
  mScheduler.RunFor(std::chrono::seconds(5));
  EXPECT_FALSE(meter.Newest());
  ipc::MMeterData values;
  values.set_current2(-7000);
  peer->mNotifier.Notify(values);
  mScheduler.RunFor(std::chrono::seconds(3));
  ASSERT_TRUE(meter.Newest());
  EXPECT_EQ(meter.Newest()->values.milliAmpere[1], -7000);
  EXPECT_EQ(meter.Newest()->age, std::chrono::seconds(3));

  Fail(EFault::Absent, "meter");
  mScheduler.RunFor(std::chrono::seconds(7));
  EXPECT_TRUE(meter.Newest());
  mScheduler.RunFor(std::chrono::seconds(3));
  EXPECT_FALSE(meter.Newest()) << "a silent meter has no value";
  Fail(EFault::None, "meter");
  mScheduler.RunFor(std::chrono::seconds(10));
  EXPECT_EQ(peer->mEnabled, 2);

  peer->mRefusals = 4;
  Fail(EFault::Absent, "meter");
  mScheduler.RunFor(std::chrono::seconds(5));
  Fail(EFault::None, "meter");
  mScheduler.RunFor(std::chrono::minutes(1));
  EXPECT_EQ(peer->mEnabled, 5) << "asked again until it agrees";
  EXPECT_EQ(mLog.Count("The station's meter refuses to be enabled, trying again"), 1);
}

class CTemperatureLinksTest : public CClientsTest {
 protected:
  using Heard = std::vector<std::tuple<int, float>>;

  Heard mHeard;
  const TemperatureHandler mNote = [this](EThermalSource source, float celsius) {
    mHeard.emplace_back(static_cast<int>(source), celsius);
  };
};

TEST_F(CTemperatureLinksTest, EachPeerHasItsNumbers) {
  const auto adac = std::make_shared<CSimulatedAdac>();
  const auto netM = std::make_shared<CSimulatedNetM>();
  mHost.RegisterService("Adac", ipc::CreateService(std::shared_ptr<ipc::IAdac>(adac)));
  mHost.RegisterService("NetM", ipc::CreateService(std::shared_ptr<ipc::INetM>(netM)));
  mHost.Start();
  ipc::MTemperature temperature;
  temperature.set_celsius(41.5F);
  adac->TemperatureNotifications().Notify(temperature);
  temperature.set_celsius(-3.0F);
  netM->TemperatureNotifications().Notify(temperature);

  ipc::CAdacClient adacClient(Client("Adac"));
  ipc::CNetMClient netMClient(Client("NetM"));
  const auto adacLink = LinkTemperatures(adacClient, mNote);
  const auto netMLink = LinkTemperatures(netMClient, mNote);
  mScheduler.RunFor(std::chrono::seconds(1));
  EXPECT_EQ(mHeard, (Heard{{5, 41.5F}, {4, -3.0F}}));
  EXPECT_EQ(mLog.Texts(Log::ELogLevel::Trace),
            (std::vector<std::string>{"Received temperature notification from Adac: 41.5 °C",
                                      "Temperature received from NetM: -3 °C"}));
}

TEST_F(CTemperatureLinksTest, SafetyControllerHandsOverWhatIsPresent) {
  const auto peer = std::make_shared<CSimulatedSafetyMcuComm>();
  mHost.RegisterService("SafetyMcuComm", ipc::CreateService(std::shared_ptr<ipc::ISafetyMcuComm>(peer)));
  mHost.Start();
  ipc::CSafetyMcuCommClient client(Client("SafetyMcuComm"));
  const auto link = LinkTemperatures(client, mNote);
  mScheduler.RunFor(std::chrono::seconds(1));
  const auto notify = [&](const ipc::MMcuTemperatures& temperatures) {
    peer->TemperatureNotifications().Notify(temperatures);
    mScheduler.RunDue();
  };

  ipc::MMcuTemperatures temperatures;
  notify(temperatures);
  EXPECT_EQ(mLog.Texts(Log::ELogLevel::Warning),
            std::vector<std::string>{"No temperature received from McuTemperatures notification"});
  temperatures.set_earth_leakage_detector2(52.0F);
  temperatures.set_relay1(60.25F);
  temperatures.set_earth_leakage_detector1(51.0F);
  notify(temperatures);
  EXPECT_EQ(mHeard, (Heard{{0, 51.0F}, {1, 52.0F}, {2, 60.25F}}));
  EXPECT_EQ(
      mLog.Count("Received temperature notification from SMCU: [ Eld1: 51.000000 Eld2: 52.000000 Relay1: "
                 "60.250000 ] °C"),
      1);
}

}  // namespace
