#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "simulation/rs485bus.h"
#include "simulation/scriptedleader.h"
#include "simulation/virtualstation.h"
#include "support/groupmember.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr MediumStation kStation = 1;
constexpr MediumStation kLeader = 2;
constexpr auto kOnLine = R"("GroupLoadBalancingInterface": "RS485")";
constexpr auto kOnNetwork = R"("GroupLoadBalancingInterface": "Ethernet", "GroupLoadBalancingGroupId": 7)";

/// A whole station, and the leader of its group, on a network or a line.
class CGroupStationTest : public testing::Test {
 protected:
  void Start(const std::string& settings) {
    mStation.emplace(
        CVirtualStation::SFiles{
            .hwinfo =
                R"({"HwMaxCurrent": 32, "HwOneOrThreePhase": 3, "HwHasMeter": true, "HwHasSocket": false,
                          "MainboardSn": "12-34-abc-de1"})",
            .settings = R"({"CurrentCtrlFixedChargeCurrentLimit": 25, "GroupLoadBalancingEnable": true,
                            "GroupLoadBalancingRole": "Follower", "GroupLoadBalancingFallbackCurrent": 6,
                            "PhaseRotation": "STR", )" +
                        settings + "}",
            .secrets = R"({"GroupLoadBalancingPassword": "let us share"})"},
        SVirtualWorld{.scheduler = mScheduler,
                      .group = {.createRs485 = [this](const SRs485Line&) { return mLine; },
                                .network = mNetwork,
                                .createRandom = [] { return std::make_unique<CSeededRandom>(kStation); }}});
    mStation->Start();
    mStation->RunFor(1s);
  }
  void LeadNetwork(MediumStation leader = kLeader, std::string_view password = "let us share") {
    Lead(GroupMember::Network(*mScheduler, mMedium, leader, leader + 1),
         GroupMember::Parser(leader, password), {});
  }
  void LeadLine() {
    Lead(mBus.Attach(kLeader), std::make_unique<CLbPacketParser>(),
         {.medium = CScriptedLeader::EMedium::Line, .stations = {{0x0c, 0x22, 0xc9, 0x21, 0x2d, 0x25}}});
  }
  void Lead(std::shared_ptr<ICommunicationListener> communication, std::unique_ptr<ILbPacketParser> parser,
            CScriptedLeader::SSettings settings) {
    mLeader.emplace(*mScheduler, std::move(communication), std::move(parser), std::move(settings));
    ASSERT_TRUE(mLeader->Start());
  }
  void Tell(std::uint32_t milliAmpere) { mLeader->Order({.milliAmpere = milliAmpere}); }

  /// mA that charge control has, after a while.
  std::uint32_t OfferedAfter(Milliseconds span) {
    mStation->RunFor(span);
    return mStation->Peers().BasicCharge().LastArrival().value().milliAmpere;
  }
  std::string Signal(std::uint32_t number) {
    return mStation->Peers().Diagnostics().Newest(number).value_or(ipc::MDiagnosticsSignal()).text();
  }

  CLogCapture mLog{Log::ELogLevel::Info};
  const std::shared_ptr<CVirtualScheduler> mScheduler = std::make_shared<CVirtualScheduler>();
  CMulticastMedium mMedium{*mScheduler, 1};
  CRs485Bus mBus{*mScheduler, 1};
  const std::shared_ptr<INetwork> mNetwork = mMedium.Attach(kStation);
  const std::shared_ptr<ICommunicationListener> mLine = mBus.Attach(kStation);
  std::optional<CVirtualStation> mStation;
  std::optional<CScriptedLeader> mLeader;
};

TEST_F(CGroupStationTest, OffersWhatTheLeaderSaysAndFallsBackByItself) {
  mMedium.SetAdapterPresent(kStation, false);
  Start(kOnNetwork);
  EXPECT_EQ(OfferedAfter(20s), 6000U) << "without a network, as without a leader";
  EXPECT_EQ(Signal(30700), "Follower");
  mMedium.SetAdapterPresent(kStation, true);
  LeadNetwork();
  EXPECT_EQ(OfferedAfter(40s), 16000U);
  ASSERT_EQ(mLeader->Rows().size(), 1U);
  EXPECT_EQ(mLeader->Rows().front().fallbackMilliAmpere, 6000U);

  // The vehicle charges on the station's L1, which is wired to the supply's S.
  mStation->Peers().ChargePoint().Change([](CVehicle& vehicle) {
    vehicle.SetProperties({.maxMilliAmpere = 10000, .phases = 1});
    vehicle.Connect();
  });
  mStation->RunFor(20s);
  EXPECT_THAT(mLeader->Rows().front().drawnMilliAmpere.value(), ElementsAre(0U, 10000U, 0U));
  EXPECT_EQ(mLeader->Rows().front().report, 0x01);
  const auto group =
      ipc::CCurrentControlClient(mStation->Clients().CreateClient("CurrentControl")).GetGroup({});
  EXPECT_EQ(group.value.role(), ipc::EGroupRoleFollower);
  EXPECT_EQ(group.value.stations(0).state(), ipc::EGroupStationLed);
  EXPECT_EQ(group.value.stations(0).drawn().s(), 10000U);

  Tell(32000);
  EXPECT_EQ(OfferedAfter(3s), 25000U) << "other limits hold beside the group's";
  Tell(9000);
  EXPECT_EQ(OfferedAfter(3s), 9000U);
  mMedium.Split({{kStation}, {kLeader}});
  EXPECT_EQ(OfferedAfter(5s), 9000U);
  EXPECT_EQ(OfferedAfter(4s), 6000U);
  mMedium.Split({});
  EXPECT_EQ(OfferedAfter(6s), 9000U);
  mMedium.SetAdapterPresent(kStation, false);
  EXPECT_EQ(OfferedAfter(10s), 6000U);
  mMedium.SetAdapterPresent(kStation, true);
  EXPECT_EQ(OfferedAfter(6s), 9000U);
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Error),
              ElementsAre("Could not get interface index for adapter 'eth0'.",
                          "Could not set up communication, failed to start load balancing",
                          "Adapter 'eth0' has gone away, waiting for it."));
}

TEST_F(CGroupStationTest, IsLedOverALineWhoseDeviceComesAndGoes) {
  mBus.SetDevicePresent(kStation, false);
  Start(kOnLine);
  LeadLine();
  EXPECT_EQ(OfferedAfter(10s), 6000U);
  for (int i = 0; i < 2; ++i) {
    mBus.SetDevicePresent(kStation, true);
    EXPECT_EQ(OfferedAfter(35s), 16000U);
    mBus.SetDevicePresent(kStation, false);
    EXPECT_EQ(OfferedAfter(10s), 6000U);
  }
  EXPECT_EQ(mLog.Count("Could not set up communication, failed to start load balancing"), 1);
}

TEST_F(CGroupStationTest, TellsOnceOfALeaderWithAnotherPassword) {
  Start(kOnNetwork);
  LeadNetwork(kLeader + 1, "let us not");
  EXPECT_EQ(OfferedAfter(60s), 6000U);
  LeadNetwork();
  EXPECT_EQ(OfferedAfter(10s), 16000U);
  EXPECT_EQ(
      mLog.Count("fe80::3%2:23068 sends what is no message of this group: is GroupLoadBalancingPassword in "
                 "secrets.json the same there?"),
      1);
}

TEST_F(CGroupStationTest, MeterKeepsTheSerialLineThatTheGroupWantsToo) {
  Start(R"("GroupLoadBalancingInterface": "RS485", "CurrentCtrlBopEnable": true, "BopSource": "p1extender",
           "CurrentCtrlBopFuseRating": 25)");
  LeadLine();
  EXPECT_EQ(OfferedAfter(40s), 6000U);
  EXPECT_EQ(
      mLog.Count("A meter has the serial line /station/dev/ttymxc4, so that it cannot be the group's: set "
                 "GroupLoadBalancingInterface, or the meter's source, to another one in settings.json"),
      1);
}

TEST_F(CGroupStationTest, FuseIsProtectedByTheStationAloneWhereNoGroupIsJoined) {
  const SVirtualWorld world{.group = {.network = mNetwork, .createRandom = [] {
                                        auto random = std::make_unique<CSeededRandom>(kStation);
                                        random->FailInit(-199);
                                        return random;
                                      }}};
  for (const auto& [hasMeter, role, reason] :
       {std::tuple{"false", "Follower",
                   "GroupLoadBalancingEnable is true, but hardware has no meter. Ignoring value of "
                   "GroupLoadBalancingEnable."},
        {"true", "Leader", "Failed to initialize encryption for ethernet group load balancing."}}) {
    mLog.Clear();
    const bool isRandomBroken = reason[0] == 'F';
    const CVirtualStation station(
        {.hwinfo =
             fmt::format(R"({{"HwMaxCurrent": 32, "HwOneOrThreePhase": 3, "HwHasMeter": {}}})", hasMeter),
         .settings = fmt::format(R"({{"GroupLoadBalancingEnable": true, "GroupLoadBalancingRole": "{}",
                                      "CurrentCtrlBopEnable": true, {}}})",
                                 role, isRandomBroken ? kOnNetwork : kOnLine),
         .secrets = ""},
        world);
    EXPECT_EQ(mLog.Count(reason), 1);
    EXPECT_EQ(mLog.Count("Stand alone BlackoutProtection enabled"), 1) << reason;
    EXPECT_EQ(mLog.Count("BlackoutProtection for DynamicGroupLoadBalancing enabled"), 0) << reason;
  }
}

}  // namespace
