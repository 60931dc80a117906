#include "src/communication/ethernetcommunication.h"

#include <set>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "communication/fakenetwork.h"
#include "platform/log/logcapture.h"
#include "platform/worker/virtualscheduler.h"
#include "support/allocations.h"
#include "support/scriptedrandom.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Level = Log::ELogLevel;
using Endpoint = std::shared_ptr<ICommunicationListener::IEndpoint>;

constexpr auto kStarting =
    "Starting ethernet group load balancing communication on interface eth0 with index 3...";
constexpr auto kStopped = "Could not send 1 bytes: the network is not open";
const std::vector<std::uint8_t> kPacket(61, 0x99);
const std::vector<std::uint8_t> kByte(1);

SUdpAddress Peer(std::uint16_t port) {
  return *ParseUdpAddress("fe80::1%3", port);
}

class EthernetCommunicationTest : public ::testing::Test {
 protected:
  CEthernetCommunication Create(const std::string& adapter = "eth0", std::uint16_t groupId = 26) {
    return {{mScheduler, mNetwork, std::make_unique<CScriptedRandom>(mRandom)}, adapter, 23068, groupId};
  }
  /// A peer's packets are valid, as long as `mValid` says so, and its buffer is consumed.
  void Listen() {
    mCommunication.SetDataReceivedHandler([this](const Endpoint& endpoint) {
      mSizes.push_back(endpoint->GetReceiveBuffer().size());
      if (mValid) endpoint->GetReceiveBuffer().clear();
      if (mValid) endpoint->AcceptMetadata(std::nullopt);
      mEndpoint = endpoint;
    });
    EXPECT_TRUE(mCommunication.Start());
  }
  /// Whether it was not known before.
  bool IsNew(std::uint16_t port, bool valid = true) {
    mValid = valid;
    mNetwork.Deliver(kPacket, Peer(port));
    mScheduler.RunDue();
    return mNumbers.emplace(port, mEndpoint->GetMetadata(false)).second;
  }
  std::vector<std::string> Errors() const { return mLog.Texts(Level::Error); }

  CVirtualScheduler mScheduler;
  CLogCapture mLog;
  SFakeNetwork mNetwork;
  CScriptedRandom::SScript mRandom{.block = {1, 2, 3, 4}};
  bool mValid = true;
  std::vector<std::size_t> mSizes;
  Endpoint mEndpoint;
  std::set<std::pair<std::uint16_t, std::optional<std::uint32_t>>> mNumbers;
  CEthernetCommunication mCommunication = Create();
};

TEST_F(EthernetCommunicationTest, SetsItsSocketUp) {
  EXPECT_EQ(mCommunication.GetResponseTime(false), 250ms);
  EXPECT_EQ(mCommunication.GetResponseTime(true), 500ms);
  EXPECT_EQ(mCommunication.GetCapacity(), 99U);
  mCommunication.Stop();
  EXPECT_FALSE(mCommunication.BroadcastData(kByte));
  EXPECT_FALSE(mCommunication.BroadcastData(kByte)) << "and says so once";
  EXPECT_TRUE(mCommunication.Start());
  EXPECT_FALSE(mCommunication.Start());
  EXPECT_THAT(mNetwork.setUp, ElementsAre("open", "device eth0", "bind 23068", "local", "loopback off",
                                          "interface 3", "join ff12:7062:6c72:100::1a%3 on 3"));
  EXPECT_TRUE(mCommunication.BroadcastData(kPacket));
  EXPECT_EQ(mNetwork.sent, "61 to ff12:7062:6c72:100::1a%3:23068");
  mNetwork.takesSends = false;
  EXPECT_FALSE(mCommunication.BroadcastData(kByte));
  mCommunication.Stop();
  EXPECT_FALSE(mCommunication.BroadcastData(kByte));
  EXPECT_THAT(mLog.Texts(Level::Info),
              ElementsAre(kStarting, "Stopping ethernet group load balancing communication...",
                          "Stopping receive on ethernet group load balancing."));
  EXPECT_THAT(Errors(),
              ElementsAre(kStopped, "Could not send 1 bytes: too many packets wait to be sent", kStopped));
  EXPECT_EQ(mLog.Count("scope_id: 0, port: 23068"), 1);

  mNetwork.setUp.clear();
  auto local = Create("lo", 65535);
  EXPECT_TRUE(local.Start());
  EXPECT_THAT(mNetwork.setUp, ElementsAre("open", "reuse", "bind 23068", "local", "loopback on",
                                          "interface 0", "join ff12:7062:6c72:100::ffff on 0"));
  EXPECT_THAT(mLog.Texts(Level::Warning),
              ElementsAre("Using unscoped communication on adapter 'lo', with loopback mode enabled."));
  EXPECT_EQ(mLog.Texts(Level::Info).back(),
            "Starting ethernet group load balancing communication on interface lo with index 0...");
}

TEST_F(EthernetCommunicationTest, SaysOnceWhyItCannotStart) {
  const auto fails = [this](CEthernetCommunication&& communication, const std::string& error) {
    mLog.Clear();
    EXPECT_FALSE(communication.Start());
    EXPECT_FALSE(communication.Start());
    EXPECT_THAT(Errors(), ElementsAre(error));
    EXPECT_FALSE(mNetwork.receive);
  };
  fails(Create("eth0", 0), "Invalid group identifier: '0'. Not starting ethernet group loadbalancing.");
  mRandom.initResult = -199;
  fails(Create(), "wc_InitRng failed, rc=-199, msg=Random Number Generator failed");
  mRandom.initResult = 0;
  mNetwork.index = 0;
  fails(Create(), "Could not get interface index for adapter 'eth0'.");
  mNetwork.index = 3;
  constexpr auto kFailed = "Failed to {} interface eth0, {}. Not starting ethernet group loadbalancing.";
  const std::string reason = "error 1: Operation not permitted";
  const std::map<std::string, std::string> texts{
      {"open", fmt::format(kFailed, "open a socket for", reason)},
      {"device ", fmt::format(kFailed, "bind to", reason)},
      {"bind ", "Error on bind to ':::23068', " + reason},
      {"local", "Error on retrieving local endpoint, " + reason + "."},
      {"loopback ", fmt::format(kFailed, "set the multicast loopback of", reason)},
      {"interface ", fmt::format(kFailed, "send multicasts through", reason)},
      {"join ", fmt::format(kFailed, "join the group on", reason)},
  };
  for (const auto& [operation, text] : texts) {
    mNetwork.failures = {{operation, std::errc::operation_not_permitted}};
    fails(Create(), text);
    EXPECT_THAT(mLog.Texts(Level::Info), ElementsAre(kStarting));
  }
  mNetwork.failures = {{"reuse", std::errc::operation_not_permitted}};
  fails(Create("lo"), "Failed to share the port on interface lo, " + reason +
                          ". Not starting ethernet group loadbalancing.");
}

TEST_F(EthernetCommunicationTest, HandsDatagramsToTheirPeer) {
  Listen();
  mValid = false;
  for (const std::size_t size : {0U, 1U, 20U, 61U, 1500U, 65000U})
    mNetwork.Deliver(std::vector<std::uint8_t>(size), Peer(7));
  EXPECT_THAT(mSizes, ElementsAre(1, 20, 61, 64, 64))
      << "at most 64 bytes of each, and nothing of the one before";
  EXPECT_EQ(mLog.Count("Received 0 bytes from fe80::1%3:7."), 1);
  EXPECT_EQ(mEndpoint->ToString(), "fe80::1%3:7");
  EXPECT_TRUE(mEndpoint->IsNetworkEndpoint());
  EXPECT_TRUE(mEndpoint->SendData(kPacket));
  EXPECT_EQ(mNetwork.sent, "61 to fe80::1%3:7");
  mNetwork.onSent(std::make_error_code(std::errc::network_unreachable), 0, kPacket, Peer(7));
  mNetwork.onSent({}, 60, kPacket, Peer(7));
  mNetwork.onSent({}, 61, kPacket, Peer(7));
  EXPECT_EQ(mLog.Texts(Level::Debug).back(),
            "Could not send packet (0/61 bytes) to endpoint fe80::1%3:7, error 101: Network is unreachable.");
  mCommunication.Stop();
  EXPECT_FALSE(mEndpoint->SendData(kByte)) << "nor is it harmful";
  mCommunication.SetDataReceivedHandler(nullptr);
  EXPECT_TRUE(mCommunication.Start());
  for (int i = 0; i < 2; ++i) mNetwork.Deliver(kByte, Peer(7));
  EXPECT_THAT(Errors(), ElementsAre("Could not send 61 bytes to endpoint fe80::1%3:7, sent=60 bytes.",
                                    kStopped, "No DataReceived handler"));
}

TEST_F(EthernetCommunicationTest, KeepsEachPeersSequence) {
  Listen();
  mNetwork.Deliver(kPacket, Peer(1));
  ICommunicationListener::IEndpoint& peer = *mEndpoint;
  EXPECT_TRUE(peer.ValidateMetadata(12345, true)) << "any number will do at first";
  mRandom.blockResult = -199;
  EXPECT_EQ(peer.GetMetadata(false), std::nullopt);
  EXPECT_EQ(peer.GetMetadata(false), std::nullopt);
  EXPECT_THAT(Errors(),
              ElementsAre("wc_RNG_GenerateBlock failed, rc=-199, msg=Random Number Generator failed"));
  mRandom.blockResult = 0;
  EXPECT_EQ(peer.GetMetadata(true), 0x03020304U) << "not moved on";
  EXPECT_EQ(mLog.Count("New sequence number = 0x03020304"), 1);
  EXPECT_EQ(peer.GetMetadata(true), 0x03020305U);
  EXPECT_EQ(peer.GetMetadata(false), 0x03020305U);
  for (const std::uint32_t stored : {1000U, 0xfffffffbU}) {
    peer.AcceptMetadata(stored);
    peer.AcceptMetadata(std::nullopt);
    for (const auto& [ahead, follows] : std::map<std::uint32_t, bool>{
             {0, false}, {1, true}, {10, true}, {11, false}, {0xffffffff, false}, {0x80000000, false}}) {
      EXPECT_EQ(peer.ValidateMetadata(stored + ahead, true), follows) << stored << " and " << ahead;
      EXPECT_EQ(peer.ValidateMetadata(stored + ahead, false), ahead == 0);
    }
  }
  peer.AcceptMetadata(0xffffffff);
  EXPECT_EQ(peer.GetMetadata(true), 0U);
}

TEST_F(EthernetCommunicationTest, ForgetsAPeerThatIsSilentFor10Seconds) {
  Listen();
  EXPECT_TRUE(IsNew(1));
  mScheduler.RunFor(4s);
  EXPECT_TRUE(IsNew(2, false)) << "never valid";
  mScheduler.RunFor(5s);
  EXPECT_FALSE(IsNew(1));
  EXPECT_FALSE(IsNew(2, false));
  for (const std::string port : {"2", "1"}) {
    mScheduler.RunFor(4999ms);
    EXPECT_EQ(mLog.Count("Lost connection to endpoint fe80::1%3:" + port), 0);
    mScheduler.RunFor(1ms);
    EXPECT_EQ(mLog.Texts(Level::Trace).back(), "Lost connection to endpoint fe80::1%3:" + port);
  }
  EXPECT_TRUE(IsNew(1)) << "it starts afresh";
  mScheduler.RunFor(10s);
  EXPECT_EQ(mLog.Count("Lost connection to endpoint fe80::1%3:1"), 2);
}

TEST_F(EthernetCommunicationTest, KeepsItsPeersUnderAFlood) {
  Listen();
  EXPECT_TRUE(IsNew(1));
  for (std::uint16_t port = 1000; port < 2000; ++port) EXPECT_TRUE(IsNew(port, false));
  EXPECT_TRUE(IsNew(2)) << "amidst";
  for (std::uint16_t port = 2000; port < 2064; ++port) EXPECT_TRUE(IsNew(port, false));
  EXPECT_FALSE(IsNew(1));
  EXPECT_FALSE(IsNew(2));
  EXPECT_FALSE(IsNew(2000)) << "64 are kept of those who never said anything valid";
  EXPECT_TRUE(IsNew(1999, false));

  for (std::uint16_t port = 3; port <= 255; ++port) EXPECT_TRUE(IsNew(port));
  EXPECT_THAT(mLog.Texts(Level::Warning), IsEmpty());
  for (std::uint16_t port = 5000; port < 5065; ++port) EXPECT_TRUE(IsNew(port)) << "is heard all the same";
  EXPECT_TRUE(IsNew(5000)) << "but is not kept";
  EXPECT_THAT(mLog.Texts(Level::Warning),
              ElementsAre("There are 256 peers in the network, more cannot be kept."));
  EXPECT_FALSE(IsNew(1));
  mScheduler.RunFor(10s);
  EXPECT_TRUE(IsNew(5000));
  for (std::uint16_t port = 1; port < 100; ++port) EXPECT_TRUE(IsNew(port));
  EXPECT_FALSE(IsNew(5000));
}

TEST_F(EthernetCommunicationTest, PausesWhenReceivesFail) {
  Listen();
  for (int second = 0; second < 5; ++second) {
    mNetwork.End(std::make_error_code(std::errc::network_down));
    mScheduler.RunFor(999ms);
    EXPECT_FALSE(mNetwork.receive);
    mScheduler.RunFor(1ms);
    ASSERT_TRUE(mNetwork.receive);
  }
  EXPECT_THAT(Errors(), ElementsAre("Failed to receive 0 bytes, error 100: Network is down"));
  EXPECT_TRUE(IsNew(1));
  mNetwork.End(std::make_error_code(std::errc::network_down));
  EXPECT_EQ(Errors().size(), 2U);
  mCommunication.Stop();
  mScheduler.RunFor(10s);
  EXPECT_FALSE(mNetwork.receive);
}

TEST_F(EthernetCommunicationTest, WaitsForAnAdapterThatHasGone) {
  constexpr auto kGone = "Adapter 'eth0' has gone away, waiting for it.";
  constexpr auto kBack = "Adapter 'eth0' is there again, listening.";
  Listen();
  EXPECT_TRUE(IsNew(1));
  mNetwork.index = 0;
  mScheduler.RunFor(60s);
  EXPECT_THAT(Errors(), ElementsAre(kGone));
  EXPECT_FALSE(mCommunication.BroadcastData(kByte));
  mLog.Clear();
  mNetwork.index = 4;
  mNetwork.failures = {{"bind ", std::errc::address_in_use}};
  mScheduler.RunFor(60s);
  EXPECT_EQ(mNetwork.opened, 61) << "once a second";
  mNetwork.failures.clear();
  mScheduler.RunFor(1s);
  EXPECT_EQ(mNetwork.setUp.back(), "join ff12:7062:6c72:100::1a%4 on 4");
  EXPECT_TRUE(IsNew(1));
  EXPECT_TRUE(mCommunication.BroadcastData(kByte));
  mNetwork.index = 5;  // gone and back meanwhile
  mScheduler.RunFor(1s);
  const auto starting = [](int index) {
    return fmt::format(
        "Starting ethernet group load balancing communication on interface eth0 with index {}...", index);
  };
  EXPECT_THAT(mLog.Texts(Level::Info),
              ElementsAre(starting(4), kBack, "Stopping receive on ethernet group load balancing.",
                          starting(5), kBack));
  EXPECT_THAT(Errors(), ElementsAre("Error on bind to ':::23068', error 98: Address already in use", kGone));
  mNetwork.index = 0;
  mScheduler.RunFor(1s);
  mCommunication.Stop();
  mNetwork.index = 3;
  mScheduler.RunFor(60s);
  EXPECT_EQ(mNetwork.opened, 63);
  EXPECT_TRUE(mCommunication.Start());
}

TEST_F(EthernetCommunicationTest, TakesAKnownPeersPacketsWithoutMemory) {
  const CLogCapture log(Level::Info);
  std::uint32_t number = 0;
  mCommunication.SetDataReceivedHandler([&number](const Endpoint& endpoint) {
    if (endpoint->ValidateMetadata(number + 1, true)) endpoint->AcceptMetadata(++number);
    endpoint->GetReceiveBuffer().clear();
  });
  EXPECT_TRUE(mCommunication.Start());
  mNetwork.Deliver(kPacket, Peer(1));
  const std::uint64_t before = AllocationsOfThisThread();
  for (int i = 0; i < 1000; ++i) mNetwork.Deliver(kPacket, Peer(1));
  EXPECT_EQ(AllocationsOfThisThread(), before);
  EXPECT_EQ(number, 1001U);
}

}  // namespace
