#include <array>
#include <atomic>
#include <future>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "platform/network/asionetwork.h"
#include "platform/utility/mutex.h"
#include "support/eventually.h"

namespace {

using ::testing::ElementsAre;

constexpr std::array<std::size_t, 6> kSizes{0, 1, 20, 61, 1500, 65000};

/// A socket on a port of its own that notes what comes and what went.
class CPeer {
 public:
  explicit CPeer(std::size_t room = 65536) : mBuffer(room) { EXPECT_FALSE(mSocket->Open()); }
  ~CPeer() { mSocket->Close(); }

  void Begin() {
    EXPECT_FALSE(mSocket->Bind(0));
    EXPECT_FALSE(mSocket->GetLocalAddress(mLocal));
    mSocket->SetSentHandler([this](const std::error_code& error, std::size_t sent,
                                   std::span<const std::uint8_t> data, const SUdpAddress&) {
      const CMutexLock lock(mMutex);
      mSent.push_back(error || sent != data.size() ? -1 : static_cast<int>(sent));
    });
    Receive();
  }
  SUdpAddress Address() const { return *ParseUdpAddress("::1", mLocal.port); }
  bool Send(std::size_t size, const SUdpAddress& to) {
    return mSocket->Send(std::vector<std::uint8_t>(size, 0xa5), to);
  }
  std::vector<int> Received() {
    const CMutexLock lock(mMutex);
    return mReceived;
  }
  std::vector<int> Sent() {
    const CMutexLock lock(mMutex);
    return mSent;
  }
  bool IsCanceled() const { return mIsCanceled; }
  IUdpSocket& Socket() { return *mSocket; }

 private:
  void Receive() {
    mSocket->Receive(
        mBuffer, [this](const std::error_code& error, std::size_t size, const SUdpAddress& sender) {
          mIsCanceled = error == std::errc::operation_canceled;
          if (error) return;
          {
            const CMutexLock lock(mMutex);
            mReceived.push_back(
                sender.port == 0 || (size > 0 && mBuffer[size - 1] != 0xa5) ? -1 : static_cast<int>(size));
          }
          Receive();
        });
  }

  CAsioNetwork mNetwork;
  const std::unique_ptr<IUdpSocket> mSocket = mNetwork.CreateUdpSocket("peer");
  std::vector<std::uint8_t> mBuffer;
  SUdpAddress mLocal;
  std::atomic<bool> mIsCanceled{false};
  CMutex mMutex;
  std::vector<int> mReceived GUARDED_BY(mMutex);
  std::vector<int> mSent GUARDED_BY(mMutex);
};

TEST(UdpAddressTest, IsReadAndWritten) {
  for (const char* text : {"::", "::1", "ff12:7062:6c72:100::1a%3", "fe80::fc:ff:fe00:1%4294967295"}) {
    const auto address = ParseUdpAddress(text, 23068);
    ASSERT_TRUE(address) << text;
    EXPECT_EQ(ToText(*address), text);
    EXPECT_EQ(address->port, 23068);
  }
  EXPECT_EQ(ToText(*ParseUdpAddress("FF12:0:0::1%0", 0)), "ff12::1");
  for (const char* text : {"", "1.2.3.4", "::g", "::1%", "::1%eth0", "::1%4294967296", "::1%1%2", "%1"})
    EXPECT_FALSE(ParseUdpAddress(text, 1)) << text;
}

TEST(AsioNetworkTest, CarriesDatagramsOfAllSizes) {
  CPeer sender;
  CPeer hearer;
  CPeer cramped(64);
  for (CPeer* peer : {&sender, &hearer, &cramped}) peer->Begin();
  for (const std::size_t size : kSizes) {
    EXPECT_TRUE(sender.Send(size, hearer.Address()));
    EXPECT_TRUE(sender.Send(size, cramped.Address()));
  }
  EXPECT_TRUE(Eventually([&] { return hearer.Received().size() == 6 && cramped.Received().size() == 6; }));
  EXPECT_THAT(hearer.Received(), ElementsAre(0, 1, 20, 61, 1500, 65000));
  EXPECT_THAT(cramped.Received(), ElementsAre(0, 1, 20, 61, 64, 64)) << "as many bytes as there was room for";
  EXPECT_TRUE(sender.Send(70000, hearer.Address()));
  EXPECT_TRUE(Eventually([&] { return sender.Sent().size() == 13; }));
  EXPECT_THAT(sender.Sent(), ElementsAre(0, 0, 1, 1, 20, 20, 61, 61, 1500, 1500, 65000, 65000, -1));
}

TEST(AsioNetworkTest, SaysWhatCannotBe) {
  CAsioNetwork network;
  EXPECT_NE(network.FindInterfaceIndex("lo"), 0U);
  EXPECT_EQ(network.FindInterfaceIndex("nosuchadapter"), 0U);
  CPeer first;
  first.Begin();
  CPeer second;
  EXPECT_EQ(second.Socket().Bind(first.Address().port), std::errc::address_in_use);
  EXPECT_EQ(second.Socket().BindToDevice("nosuchadapter"), std::errc::no_such_device);
  EXPECT_EQ(second.Socket().JoinGroup(*ParseUdpAddress("ff12::1", 0), 4000000), std::errc::no_such_device);
  EXPECT_EQ(second.Socket().SetMulticastInterface(4000000), std::errc::no_such_device);
}

TEST(AsioNetworkTest, DropsWhatTooManyWaitBefore) {
  std::promise<void> release;
  std::atomic<int> told{0};
  CPeer sender;
  sender.Begin();
  sender.Socket().SetSentHandler([&, released = release.get_future().share()](auto&&...) {
    released.wait();
    ++told;
  });
  int taken = 0;
  while (sender.Send(1, sender.Address())) ++taken;
  EXPECT_EQ(taken, 128);
  release.set_value();
  EXPECT_TRUE(Eventually([&] { return told == 128; }));
  EXPECT_TRUE(sender.Send(1, sender.Address()));
}

TEST(AsioNetworkTest, ClosesInAnyState) {
  CAsioNetwork().CreateUdpSocket("never opened")->Close();
  for (int round = 0; round < 50; ++round) {
    CPeer peer;
    peer.Begin();
    std::thread others([&peer] {
      while (peer.Send(20, peer.Address())) std::this_thread::yield();
    });
    if (round % 2 == 0) Eventually([&peer] { return !peer.Received().empty(); });
    peer.Socket().Close();
    EXPECT_TRUE(peer.IsCanceled());
    others.join();
    peer.Socket().Close();
    std::error_code late;
    peer.Socket().Receive({}, [&late](const std::error_code& error, auto&&...) { late = error; });
    EXPECT_EQ(late, std::errc::operation_canceled);
  }
}

}  // namespace
