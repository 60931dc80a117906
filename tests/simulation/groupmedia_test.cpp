#include <algorithm>
#include <cstdlib>

#include <gmock/gmock.h>

#include "platform/worker/virtualscheduler.h"
#include "simulation/multicastmedium.h"
#include "simulation/rs485bus.h"
#include "simulation/seededrandom.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint16_t kPort = 23068;
const SUdpAddress kGroup{.address = {0xff, 0x12, 0x70}, .scope = 0, .port = kPort};

bool IsNear(std::int64_t number, std::int64_t expected, std::int64_t most) {
  return std::abs(number - expected) <= most;
}

/// A station with a socket in the group, and everything that it has received.
struct SStation {
  SStation(CMulticastMedium& medium, MediumStation number) : network(medium.Attach(number)) { Listen(); }
  void Listen() {
    const std::uint32_t index = network->FindInterfaceIndex("eth0");
    socket = network->CreateUdpSocket("test");
    const bool failed = socket->Open() || socket->BindToDevice("eth0") || socket->Bind(kPort) ||
                        socket->SetMulticastLoopback(false) || socket->SetMulticastInterface(index) ||
                        socket->JoinGroup(kGroup, index);
    EXPECT_FALSE(failed);
    socket->SetSentHandler([this](const std::error_code& error, std::size_t, std::span<const std::uint8_t>,
                                  const SUdpAddress&) { sendError = error; });
    Receive();
  }
  void Receive() {
    socket->Receive(
        buffer, [this](const std::error_code& error, std::size_t received, const SUdpAddress& from) {
          receiveError = error;
          if (error) return;
          heard.push_back({buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(received)});
          sender = from;
          Receive();
        });
  }

  const std::shared_ptr<INetwork> network;
  std::unique_ptr<IUdpSocket> socket;
  Bytes buffer = Bytes(64);
  std::vector<Bytes> heard;
  SUdpAddress sender;
  std::error_code sendError;
  std::error_code receiveError;
};

TEST(MulticastMedium, ReachesTheGroupOrOneStationAndDoesNotRunHandlersWithinASend) {
  CVirtualScheduler scheduler;
  CMulticastMedium medium(scheduler, 1);
  SStation one(medium, 1), two(medium, 2), three(medium, 3);
  medium.SetFaults({.shortestDelay = 5ms, .longestDelay = 5ms});
  one.socket->Send(Bytes{1}, kGroup);
  scheduler.RunFor(4ms);
  EXPECT_THAT(two.heard, IsEmpty());
  scheduler.RunFor(1ms);
  for (const SStation* station : {&two, &three}) EXPECT_THAT(station->heard, ElementsAre(Bytes{1}));
  EXPECT_EQ(two.sender, (SUdpAddress{.address = {0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1},
                                     .scope = 2,
                                     .port = kPort}));
  two.socket->Send(Bytes(65, 7), two.sender);  // one more than there is room for
  two.socket->Send(Bytes(65528), kGroup);
  medium.Split({{1, 3}, {2}});
  one.socket->Send(Bytes{2}, kGroup);
  medium.Inject(3, kPort, {.address = {0xfe, 0x80, 9}, .scope = 0, .port = 4711}, Bytes{3});
  scheduler.RunFor(5ms);
  EXPECT_THAT(one.heard, ElementsAre(Bytes(64, 7)));
  EXPECT_EQ(two.sendError, std::errc::message_size);
  EXPECT_THAT(two.heard, ElementsAre(Bytes{1}));
  EXPECT_THAT(three.heard, ElementsAre(Bytes{1}, Bytes{3}, Bytes{2}));
}

TEST(MulticastMedium, AnAdapterThatComesBackHasAnotherIndexAndNoMembers) {
  CVirtualScheduler scheduler;
  CMulticastMedium medium(scheduler, 1);
  SStation one(medium, 1), two(medium, 2);
  medium.SetAdapterPresent(2, false);
  EXPECT_EQ(two.network->FindInterfaceIndex("eth0"), 0U);
  two.socket->Send(Bytes{1}, kGroup);
  medium.SetAdapterPresent(2, true);
  one.socket->Send(Bytes{2}, kGroup);
  scheduler.RunDue();
  EXPECT_EQ(two.sendError, std::errc::no_such_device);
  EXPECT_THAT(two.heard, IsEmpty());
  EXPECT_EQ(two.network->CreateUdpSocket("")->Bind(kPort), std::errc::bad_file_descriptor);
  two.socket->Close();
  EXPECT_EQ(two.receiveError, std::errc::operation_canceled);
  two.Listen();
  one.socket->Send(Bytes{3}, kGroup);
  scheduler.RunDue();
  EXPECT_THAT(two.heard, ElementsAre(Bytes{3}));
  EXPECT_EQ(two.sender.scope, 3U);
  const auto second = two.network->CreateUdpSocket("");
  EXPECT_FALSE(second->Open());
  EXPECT_EQ(second->Bind(kPort), std::errc::address_in_use);
}

/// What a station hears of 2000 datagrams with these faults.
std::vector<Bytes> Hear(const SMediumFaults& faults, std::uint64_t seed) {
  CVirtualScheduler scheduler;
  CMulticastMedium medium(scheduler, seed);
  SStation one(medium, 1), two(medium, 2);
  medium.SetFaults(2, faults);
  for (int i = 0; i < 2000; ++i) {
    one.socket->Send(Bytes{static_cast<std::uint8_t>(i >> 8), static_cast<std::uint8_t>(i), 0}, kGroup);
    scheduler.RunFor(1ms);
  }
  scheduler.RunFor(1s);
  return two.heard;
}

TEST(MulticastMedium, FaultsHappenAsOftenAsToldAndRepeatFromTheirSeed) {
  const auto isATenth = [](auto number) { return IsNear(number, 200, 60); };
  EXPECT_TRUE(isATenth(2000 - std::ssize(Hear({.loss = 100}, 1))));
  EXPECT_TRUE(isATenth(std::ssize(Hear({.duplication = 100}, 1)) - 2000));
  const auto isCut = [](const Bytes& bytes) { return bytes.size() < 3; };
  EXPECT_TRUE(isATenth(std::ranges::count_if(Hear({.truncation = 100}, 1), isCut)));
  const auto inOrder = Hear({}, 1);
  auto corrupted = Hear({.corruption = 100}, 1);
  ASSERT_EQ(corrupted.size(), inOrder.size());
  int changed = 0;
  for (std::size_t i = 0; i < inOrder.size(); ++i) changed += corrupted[i] != inOrder[i];
  EXPECT_TRUE(isATenth(changed));
  auto reordered = Hear({.shortestDelay = 1ms, .longestDelay = 20ms}, 1);
  EXPECT_FALSE(std::ranges::is_sorted(reordered));
  std::ranges::sort(reordered);
  EXPECT_EQ(reordered, inOrder);

  const SMediumFaults all{1ms, 9ms, 50, 50, 50, 50};
  EXPECT_EQ(Hear(all, 7), Hear(all, 7));
  EXPECT_NE(Hear(all, 7), Hear(all, 8));
}

TEST(SeededRandom, RepeatsAndFailsWhenTold) {
  Bytes one(40), other(40);
  CSeededRandom random(3);
  EXPECT_EQ(random.GenerateBlock(one), 0);
  EXPECT_EQ(CSeededRandom(3).GenerateBlock(other), 0);
  EXPECT_EQ(one, other);
  random.FailInit(-199);
  random.FailBlocks(-200);
  EXPECT_EQ(random.Init(), -199);
  EXPECT_EQ(random.GenerateBlock(one), -200);
}

class Rs485BusTest : public testing::Test {
 protected:
  Rs485BusTest() {
    for (MediumStation number = 1; number <= 3; ++number) {
      mEnds.push_back(mBus.Attach(number));
      mHeard.emplace_back();
      mEnds.back()->SetDataReceivedHandler([this, number](const auto& endpoint) {
        Bytes& buffer = endpoint->GetReceiveBuffer();
        mHeard[number - 1].insert(mHeard[number - 1].end(), buffer.begin(), buffer.end());
        buffer.clear();
        ++mPieces;
      });
      EXPECT_TRUE(mEnds.back()->Start());
    }
  }
  Bytes Heard(std::size_t station) { return std::exchange(mHeard[station - 1], {}); }

  CVirtualScheduler mScheduler;
  CRs485Bus mBus{mScheduler, 5};
  std::vector<std::shared_ptr<ICommunicationListener>> mEnds;
  std::vector<Bytes> mHeard;
  int mPieces = 0;
  const Bytes mMessage = Bytes(115, 0x55);  // 9.98 ms
};

TEST_F(Rs485BusTest, BringsBytesInTheirTimeAndInPiecesToEverybodyElse) {
  EXPECT_TRUE(mEnds[0]->BroadcastData(mMessage));
  mScheduler.RunFor(5ms);
  EXPECT_THAT(mHeard[1].size(), testing::AllOf(testing::Gt(30U), testing::Lt(60U)));
  mScheduler.RunFor(4ms);
  EXPECT_LT(mHeard[1].size(), mMessage.size());
  mScheduler.RunFor(1ms);
  EXPECT_EQ(Heard(2), mMessage);
  EXPECT_EQ(Heard(3), mMessage);
  EXPECT_THAT(Heard(1), IsEmpty());
  EXPECT_GT(mPieces, 14);
}

TEST_F(Rs485BusTest, WhoeverSendsTogetherIsNotUnderstood) {
  mEnds[0]->BroadcastData(mMessage);
  mScheduler.RunFor(2ms);
  mEnds[1]->BroadcastData(Bytes(12, 0x66));
  mScheduler.RunFor(20ms);
  // The second one talks from byte 23 for 12 bytes.
  const Bytes third = Heard(3);
  EXPECT_EQ(third.size(), 127U);
  EXPECT_TRUE(IsNear(std::ranges::count(third, 0x55), 102, 2));
  EXPECT_LE(std::ranges::count(third, 0x66), 2);
  EXPECT_TRUE(IsNear(std::ssize(Heard(2)), 102, 1));
  EXPECT_THAT(Heard(1), IsEmpty());
  // One after the other they are, and so is somebody in another part.
  mBus.Split({{1, 3}, {2}});
  for (const Bytes& data : {Bytes{1}, Bytes{2}}) mEnds[0]->BroadcastData(data);
  mEnds[1]->BroadcastData(Bytes(9));
  mScheduler.RunFor(2ms);
  EXPECT_THAT(Heard(3), ElementsAre(1, 2));
}

TEST_F(Rs485BusTest, ADeviceVanishesAndLinesLoseAndSpoil) {
  mBus.SetDevicePresent(2, false);
  EXPECT_FALSE(mEnds[1]->BroadcastData(mMessage));
  EXPECT_FALSE(mEnds[1]->Start());
  mEnds[0]->BroadcastData(mMessage);
  mScheduler.RunFor(10ms);
  EXPECT_THAT(Heard(2), IsEmpty());
  EXPECT_EQ(Heard(3), mMessage);
  mBus.SetDevicePresent(2, true);
  EXPECT_TRUE(mEnds[1]->Start());
  mBus.SetFaults({.loss = 300});
  mEnds[0]->BroadcastData(mMessage);
  mScheduler.RunFor(10ms);
  EXPECT_THAT(Heard(2).size(), testing::AllOf(testing::Gt(0U), testing::Lt(mMessage.size())));
  mBus.SetFaults({.corruption = 1000});
  mEnds[1]->BroadcastData(mMessage);
  mScheduler.RunFor(10ms);
  const Bytes corrupted = Heard(1);
  EXPECT_EQ(corrupted.size(), mMessage.size());
  EXPECT_NE(corrupted, mMessage);
}

}  // namespace
