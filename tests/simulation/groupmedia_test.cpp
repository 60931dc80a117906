#include <algorithm>
#include <cstdlib>

#include <gmock/gmock.h>

#include "simulation/rs485bus.h"
#include "support/groupmember.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

bool IsNear(std::int64_t number, std::int64_t expected, std::int64_t most) {
  return std::abs(number - expected) <= most;
}

/// What a station is handed of 2000 datagrams with these faults.
std::vector<Bytes> Hear(const SMediumFaults& faults, std::uint64_t seed) {
  CVirtualScheduler scheduler;
  CMulticastMedium medium(scheduler, seed);
  const auto one = GroupMember::Network(scheduler, medium, 1, 1);
  const auto two = GroupMember::Network(scheduler, medium, 2, 2);
  EXPECT_TRUE(one->Start() && two->Start());
  std::vector<Bytes> heard;
  medium.SetArrivalTap([&heard](MediumStation, const auto& datagram) { heard.push_back(datagram.data); });
  medium.SetFaults(2, faults);
  for (int i = 0; i < 2000; ++i) {
    one->BroadcastData(Bytes{static_cast<std::uint8_t>(i >> 8), static_cast<std::uint8_t>(i), 0});
    scheduler.RunFor(1ms);
  }
  scheduler.RunFor(1s);
  return heard;
}

TEST(MulticastMedium, FaultsHappenAsOftenAsToldAndRepeatFromTheirSeed) {
  const auto isATenth = [](auto number) { return IsNear(number, 200, 60); };
  EXPECT_TRUE(isATenth(2000 - std::ssize(Hear({.loss = 100}, 1))));
  EXPECT_TRUE(isATenth(std::ssize(Hear({.duplication = 100}, 1)) - 2000));
  const auto isCut = [](const Bytes& bytes) { return bytes.size() < 3; };
  EXPECT_TRUE(isATenth(std::ranges::count_if(Hear({.truncation = 100}, 1), isCut)));
  const auto inOrder = Hear({}, 1);
  const auto corrupted = Hear({.corruption = 100}, 1);
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

class Rs485BusTest : public testing::Test {
 protected:
  Rs485BusTest() {
    for (MediumStation number = 1; number <= 3; ++number) {
      mEnds.push_back(mBus.Attach(number));
      mEnds.back()->SetDataReceivedHandler([this, number](const auto& endpoint) {
        Bytes& buffer = endpoint->GetReceiveBuffer();
        mHeard[number].insert(mHeard[number].end(), buffer.begin(), buffer.end());
        buffer.clear();
        ++mPieces;
      });
      EXPECT_TRUE(mEnds.back()->Start());
    }
  }
  Bytes Heard(MediumStation station) { return std::exchange(mHeard[station], {}); }

  CVirtualScheduler mScheduler;
  CRs485Bus mBus{mScheduler, 5};
  std::vector<std::shared_ptr<ICommunicationListener>> mEnds;
  std::map<MediumStation, Bytes> mHeard;
  int mPieces = 0;
  const Bytes mMessage = Bytes(115, 0x55);  // 9.98 ms
};

TEST_F(Rs485BusTest, BringsBytesInTheirTimeAndInPiecesToEverybodyElse) {
  EXPECT_TRUE(mEnds[0]->BroadcastData(mMessage));
  mScheduler.RunFor(5ms);
  EXPECT_TRUE(IsNear(std::ssize(mHeard[2]), 45, 15));
  mScheduler.RunFor(4ms);
  EXPECT_LT(mHeard[2].size(), mMessage.size());
  mScheduler.RunFor(1ms);
  EXPECT_EQ(Heard(2), mMessage);
  EXPECT_EQ(Heard(3), mMessage);
  EXPECT_THAT(Heard(1), IsEmpty());
  EXPECT_GT(mPieces, 14);

  mBus.SetFaults({.loss = 300});
  mEnds[0]->BroadcastData(mMessage);
  mScheduler.RunFor(10ms);
  EXPECT_TRUE(IsNear(std::ssize(Heard(2)), 60, 50));
  mBus.SetFaults({.corruption = 1000});
  mEnds[1]->BroadcastData(mMessage);
  mScheduler.RunFor(10ms);
  const Bytes corrupted = Heard(1);
  EXPECT_EQ(corrupted.size(), mMessage.size());
  EXPECT_NE(corrupted, mMessage);
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
  for (const Bytes& data : {Bytes{1}, Bytes{2}}) mEnds[0]->BroadcastData(data);
  mScheduler.RunFor(2ms);
  EXPECT_THAT(Heard(3), ElementsAre(1, 2)) << "one after the other they are";
}

}  // namespace
