#include <atomic>
#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "networks.h"
#include "peer.h"
#include "platform/log/logcapture.h"

namespace {

using RpcTest::LimitOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// What holds for every backend.
template <class TNetwork>
class BackendTest : public ::testing::Test {
 protected:
  using Peer = RpcTest::CPeer<typename TNetwork::Backend>;

  TNetwork network;
  CMemoryFiles files;
  CLogCapture log{Log::ELogLevel::Info};
  Peer peer{network.MakeBackend(), files, network.Root()};
  Rpc::AppCommunicationHost<typename TNetwork::Backend> ours{network.MakeBackend(), files, network.Root()};
  std::shared_ptr<Rpc::CClient> client = ours.CreateClient("Peer");
  ipc::CCurrentControlClient control{client};
  ipc::CNetMClient netM{client};
  std::atomic<float> celsius{-1.0F};
  std::atomic<int> links{0};  // established less lost
  Rpc::Subscription subscription;

  void Subscribe() {
    subscription = netM.TemperatureNotifications(
        {}, [this](const ipc::MTemperature& temperature) { celsius = temperature.celsius(); },
        [this](bool established) { links += established ? 1 : -1; });
  }
  bool Heard(float expected) {
    return network.Eventually([&] { return celsius == expected; });
  }
  bool Linked(int expected) {
    return network.Eventually([&] { return links == expected; });
  }
};

using Networks = ::testing::Types<RpcTest::CInProcess, RpcTest::CGrpc>;
TYPED_TEST_SUITE(BackendTest, Networks);

TYPED_TEST(BackendTest, CarriesCallsAndRefusesAnUnknownMethodAndBytesThatAreNoMessage) {
  this->peer.Start();
  constexpr Rpc::SUnaryMethod<ipc::MEmpty, ipc::MEmpty> kUnknown{"/ipc.CurrentControl/Guess"};
  for (int attempt = 0; attempt < 2; ++attempt) {
    EXPECT_EQ(this->client->Call(kUnknown, {}).status, Rpc::EStatus::Unimplemented);
    const auto result = this->control.SetCurrentLimit(LimitOf(1000));  // which no enumerator has
    EXPECT_TRUE(result.IsOk()) << result.detail;
    EXPECT_EQ(result.value.code(), 7U);
    EXPECT_EQ(this->peer.control->source, 1000);
  }
  const auto channel =
      this->network.MakeBackend().Connect("unix:" + (this->network.Root() / "run/ipc/peer.sock").string());
  for (int attempt = 0; attempt < 2; ++attempt) {
    EXPECT_EQ(channel->Call("/ipc.CurrentControl/SetCurrentLimit", "\xff\xff\xff", Milliseconds{900}).status,
              Rpc::EStatus::Failed);
  }
  EXPECT_EQ(this->peer.control->calls, 2);
  // The server tells it once and the client tells it once, good calls in between or not.
  EXPECT_THAT(
      this->log.Texts(Log::ELogLevel::Warning),
      ElementsAre(HasSubstr("calls /ipc.CurrentControl/Guess, which does not exist"),
                  HasSubstr("Peer Peer fails, /ipc.CurrentControl/Guess: unimplemented"),
                  HasSubstr("calls /ipc.CurrentControl/SetCurrentLimit with a request that is no message")));
}

TYPED_TEST(BackendTest, FailsFastWhileThePeerIsAbsentAndFindsItLater) {
  const auto begin = std::chrono::steady_clock::now();
  for (int attempt = 0; attempt < 3; ++attempt) {
    EXPECT_EQ(this->control.SetCurrentLimit(LimitOf(3)).status, Rpc::EStatus::Unreachable);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
  EXPECT_THAT(this->log.Texts(Log::ELogLevel::Warning),
              ElementsAre(HasSubstr("Peer Peer fails, /ipc.CurrentControl/SetCurrentLimit: unreachable")));

  this->peer.Start();
  EXPECT_TRUE(this->network.Eventually([&] { return this->control.SetCurrentLimit(LimitOf(3)).IsOk(); }));
  EXPECT_THAT(this->log.Texts(Log::ELogLevel::Info),
              ElementsAre("Peer Peer is back: /ipc.CurrentControl/SetCurrentLimit succeeds"));
}

TYPED_TEST(BackendTest, TellsALateSubscriberTheNewestAndForgetsOneThatEnds) {
  this->peer.Start();
  this->peer.netM->Notify(20.5F);
  this->peer.netM->Notify(21.5F);
  this->Subscribe();
  EXPECT_TRUE(this->Heard(21.5F));
  EXPECT_EQ(this->links, 1);
  this->peer.netM->Notify(22.5F);
  EXPECT_TRUE(this->Heard(22.5F));

  this->subscription.reset();
  EXPECT_TRUE(this->network.Eventually([&] { return this->peer.netM->Subscribers() == 0; }));
  EXPECT_THAT(this->log.Lines(), IsEmpty());
}

TYPED_TEST(BackendTest, SubscribesAgainWheneverThePeerComesBack) {
  this->Subscribe();
  EXPECT_TRUE(this->network.Eventually([&] { return this->log.Lines().size() == 1; }));
  for (float round = 1.0F; round < 3.0F; ++round) {
    this->peer.Start();
    EXPECT_TRUE(this->Linked(1));
    this->peer.netM->Notify(round);
    EXPECT_TRUE(this->Heard(round));
    this->peer.Stop();
    EXPECT_TRUE(this->Linked(0));
    EXPECT_TRUE(this->network.Eventually([&] { return this->peer.netM->Subscribers() == 0; }));
  }
  this->subscription.reset();
  const std::string lost = "Peer Peer fails, /ipc.NetM/TemperatureNotifications: unreachable";
  EXPECT_THAT(this->log.Texts(Log::ELogLevel::Warning),
              ElementsAre(HasSubstr(lost), HasSubstr(lost), HasSubstr(lost)));
  EXPECT_EQ(this->log.Count("Peer Peer is back: /ipc.NetM/TemperatureNotifications succeeds"), 2);
}

TYPED_TEST(BackendTest, TellsOnceOfAPeerThatDoesNotOfferTheSubscription) {
  this->peer.Start();
  constexpr Rpc::SNotificationMethod<ipc::MEmpty, ipc::MEmpty> kUnknown{"/ipc.NetM/Guess"};
  const std::function<void(const ipc::MEmpty&)> unexpected = [](const ipc::MEmpty&) { FAIL(); };
  const auto refused = this->client->Subscribe(kUnknown, {}, unexpected, [](bool) { FAIL(); });
  EXPECT_TRUE(this->network.Eventually([&] { return this->log.Lines().size() == 2; }));
  EXPECT_THAT(this->log.Texts(Log::ELogLevel::Warning),
              ElementsAre(HasSubstr("calls /ipc.NetM/Guess, which does not exist"),
                          HasSubstr("Peer Peer fails, /ipc.NetM/Guess: unimplemented")));
}

}  // namespace
