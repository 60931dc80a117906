#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "peer.h"
#include "platform/log/logcapture.h"
#include "platform/rpc/inprocessbackend.h"
#include "platform/rpc/kologger.h"
#include "platform/worker/virtualscheduler.h"

namespace {

using RpcTest::LimitOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using EFault = Rpc::CInProcessNetwork::EFault;

class ServiceAddressesTest : public ::testing::Test {
 protected:
  std::string AddressOf(const std::string& service) {
    return Rpc::CServiceAddresses(files, "/station/").Of(service);
  }
  std::vector<std::string> ErrorsOf(const std::string& text) {
    files.Write(kFile, text);
    log.Clear();
    Rpc::CServiceAddresses addresses(files, "/station");
    EXPECT_EQ(addresses.Of("NetM"), "unix:/station/run/ipc/netm.sock");
    return log.Texts(Log::ELogLevel::Error);
  }

  const std::string kFile = "/station/etc/kipc.json";
  CMemoryFiles files;
  CLogCapture log;
};

TEST_F(ServiceAddressesTest, GivesDefaultsAndWhatTheFileSays) {
  EXPECT_EQ(AddressOf("CurrentControl"), "unix:/station/run/ipc/currentcontrol.sock");
  EXPECT_EQ(AddressOf("CurrentControlGenCtrl"), "unix:/station/run/ipc/currentcontrol.sock");
  EXPECT_EQ(AddressOf("Log"), "unix:/station/run/ipc/log.sock");
  EXPECT_THAT(log.Lines(), IsEmpty());

  files.Write(kFile, R"({"Services": {"CurrentControl": "127.0.0.1:4000", "NetM": "unix:own/netm.sock",
                                     "Adac": "unix:/run/adac.sock", "Meter": "unix:///run/meter.sock"}})");
  EXPECT_EQ(AddressOf("CurrentControlGenCtrl"), "127.0.0.1:4000");
  EXPECT_EQ(AddressOf("NetM"), "unix:/station/own/netm.sock");
  EXPECT_EQ(AddressOf("Adac"), "unix:/run/adac.sock");
  EXPECT_EQ(AddressOf("Meter"), "unix:/run/meter.sock");
  EXPECT_THAT(log.Lines(), IsEmpty());

  Rpc::CServiceAddresses addresses(files, "/station");
  for (const auto* service : {"CurrentControl", "NetM", "Adac"}) addresses.Of(service);
  addresses.WarnOfUnusedEntries();
  EXPECT_THAT(log.Texts(Log::ELogLevel::Warning),
              ElementsAre(HasSubstr("/station/etc/kipc.json: no service \"Meter\" is offered or called")));
}

TEST_F(ServiceAddressesTest, KeepsTheDefaultsOfAFileThatIsNoGood) {
  const std::pair<std::string, const char*> kCases[] = {
      {"", "kipc.json cannot be used: Line 1, Column 1: the file is empty; every"},
      {"{\"Services\": {\"NetM\": \n", "used: Line 2, Column 1 Syntax"},
      {std::string(100000, '['), "used: Exceeded stackLimit"},
      {std::string(1024 * 1024 + 1, ' '), "kipc.json cannot be read: it is larger than 1048576 bytes"},
      {"[1]", "it is no JSON object"},
      {R"({"Services": 5})", "\"Services\" is not an object"},
      {R"({"Service": {}})", "key \"Service\" is unknown"},
      {R"({"Services": {"NetM": 5}})", "address of \"NetM\""},
      {R"({"Services": {"Adac": ""}})", "address of \"Adac\""}};
  for (const auto& [text, error] : kCases) EXPECT_THAT(ErrorsOf(text), ElementsAre(HasSubstr(error)));
}

/// Faults that a peer has on demand, and what its client makes of them.
class FaultTest : public ::testing::Test {
 protected:
  FaultTest() {
    peer.Start();
    subscription = netM.TemperatureNotifications(
        {}, [this](const ipc::MTemperature& temperature) { heard.push_back(temperature.celsius()); },
        [this](bool established) { links.push_back(established); });
    scheduler.RunDue();
  }
  Rpc::EStatus Call() { return control.SetCurrentLimit(LimitOf(3)).status; }
  void SetFault(EFault fault) { network->SetFault("unix:/station/run/ipc/peer.sock", fault); }

  CVirtualScheduler scheduler;
  std::shared_ptr<Rpc::CInProcessNetwork> network = std::make_shared<Rpc::CInProcessNetwork>(scheduler);
  CMemoryFiles files;
  CLogCapture log{Log::ELogLevel::Info};
  RpcTest::CPeer<Rpc::InProcessBackend> peer{Rpc::InProcessBackend(network), files, "/station"};
  Rpc::AppCommunicationHost<Rpc::InProcessBackend> ours{Rpc::InProcessBackend(network), files, "/station"};
  std::shared_ptr<Rpc::CClient> client = ours.CreateClient("Peer");
  ipc::CCurrentControlClient control{client};
  ipc::CNetMClient netM{client};
  std::vector<float> heard;
  std::vector<bool> links;
  Rpc::Subscription subscription;
};

TEST_F(FaultTest, HangingPeerTimesOutAndCatchesUp) {
  SetFault(EFault::Hanging);
  EXPECT_EQ(Call(), Rpc::EStatus::Timeout);
  EXPECT_EQ(peer.control->calls, 0);
  peer.netM->Notify(1.0F);
  peer.netM->Notify(2.0F);
  scheduler.RunDue();
  SetFault(EFault::None);
  scheduler.RunDue();
  EXPECT_THAT(heard, ElementsAre(2.0F));
  EXPECT_THAT(links, ElementsAre(true));
}

TEST_F(FaultTest, PeerThatDiesDuringACallHasDoneItAndIsSubscribedToAgainAfterwards) {
  SetFault(EFault::DiesDuringCall);
  EXPECT_EQ(Call(), Rpc::EStatus::Unreachable);
  EXPECT_EQ(Call(), Rpc::EStatus::Unreachable);
  EXPECT_EQ(peer.control->calls, 1);
  scheduler.RunFor(Milliseconds{10'000});
  EXPECT_EQ(log.Texts(Log::ELogLevel::Warning).size(), 1U);
  // The pauses have grown, but not beyond their cap.
  SetFault(EFault::None);
  scheduler.RunFor(Milliseconds{2'000});
  EXPECT_THAT(links, ElementsAre(true, false, true));
  EXPECT_EQ(log.Texts(Log::ELogLevel::Info).size(), 1U);
}

TEST_F(FaultTest, GarbageIsAFailedAnswerAndADroppedNotification) {
  SetFault(EFault::Garbage);
  EXPECT_EQ(Call(), Rpc::EStatus::Failed);
  peer.netM->Notify(1.0F);
  peer.netM->Notify(2.0F);
  scheduler.RunDue();
  EXPECT_THAT(heard, IsEmpty());
  EXPECT_THAT(
      log.Texts(Log::ELogLevel::Warning),
      ElementsAre(HasSubstr("failed (the answer is not a message of the expected type)"),
                  HasSubstr("sent a notification of /ipc.NetM/TemperatureNotifications that is no message")));
}

TEST_F(FaultTest, LostSubscriptionsComeBackAfterGrowingPauses) {
  SetFault(EFault::NoSubscriptions);
  scheduler.RunFor(Milliseconds{150});  // lost at 0, refused at 100
  EXPECT_EQ(Call(), Rpc::EStatus::Ok);
  EXPECT_EQ(peer.netM->Subscribers(), 0U);
  SetFault(EFault::None);
  scheduler.RunFor(Milliseconds{149});
  EXPECT_THAT(links, ElementsAre(true, false));
  scheduler.RunFor(Milliseconds{1});
  EXPECT_THAT(links, ElementsAre(true, false, true));
}

TEST(ServiceTableTest, WhatAHandlerThrowsEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "fast");
  const auto control = std::make_shared<RpcTest::CCurrentControl>();
  control->onSet = [] { throw std::runtime_error("broken"); };
  Rpc::CServiceTable table("here",
                           {ipc::CreateService(std::static_pointer_cast<ipc::ICurrentControl>(control))});
  std::string response;
  const auto method = table.Find("/ipc.CurrentControl/SetCurrentLimit");
  EXPECT_DEATH(table.Handle(method, "/ipc.CurrentControl/SetCurrentLimit", "", response), "terminat");
}

TEST(KoLoggerTest, WritesEachLevelWithItsOrigin) {
  const CLogCapture log;
  Rpc::KoLogger logger;
  logger.Critical("a"), logger.Error("b"), logger.Warning("c"), logger.Info("d"), logger.Debug("e"),
      logger.Trace("f");
  std::string levels;
  for (const auto& line : log.Lines()) levels += std::to_string(static_cast<int>(line.level)) + line.text;
  EXPECT_EQ(levels, "5[RPC] a4[RPC] b3[RPC] c2[RPC] d1[RPC] e0[RPC] f");
}

}  // namespace
