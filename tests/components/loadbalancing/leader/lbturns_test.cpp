#include "src/components/loadbalancing/leader/lbturns.h"

#include <algorithm>
#include <random>

#include <fmt/format.h>
#include <gmock/gmock.h>

namespace {

class CLbTurnsTest : public ::testing::Test {
 protected:
  /// Distributes each 10 s to stations A, B, ..., of which those in lower case rest. Who is served, and since
  /// which second, each time this changes.
  std::string Run(int seconds, const std::string& names, std::size_t places) {
    std::string history;
    for (; seconds > 0; seconds -= 10) {
      const std::string served = Distribute(names, places);
      if (served != mServed) history += fmt::format(" {}@{}", served, mSecond);
      mServed = served;
      mSecond += 10;
    }
    return history;
  }
  std::string Distribute(const std::string& names, std::size_t places) {
    std::vector<CLbTurns::SStation> stations;
    for (const char letter : names) {
      const auto name = static_cast<char>(std::toupper(letter));
      const bool isServed = mServed.find(name) != std::string::npos;
      const auto wish = letter == name ? CLbVehicle::EWish::Draws : CLbVehicle::EWish::Rests;
      stations.push_back({{static_cast<std::uint8_t>(name)}, wish, isServed});
    }
    mTurns.Arrange(stations, TimePoint{} + std::chrono::seconds{mSecond});
    std::ranges::stable_partition(stations, [](const auto& each) { return !each.isOffer; });
    mOrder.clear();
    for (const auto& each : stations) mOrder += static_cast<char>(each.serialNumber[0]);
    std::string served = mOrder.substr(0, places);
    std::ranges::sort(served);
    return served;
  }

  CLbTurns mTurns;
  int mSecond = 0;
  std::string mServed;
  std::string mOrder;
};

TEST_F(CLbTurnsTest, MoveOnlyOncePerQuarterOfAnHourAndOnlyWhileSomebodyWaits) {
  EXPECT_EQ(Run(2720, "AB", 1), " A@0 B@910 A@1810 B@2710");
  EXPECT_EQ(Run(10, "ABcd", 4), " ABCD@2720");
  const std::string order = (Run(10, "ABcd", 4), mOrder);
  for (int i = 0; i < 200; ++i) ASSERT_EQ((Run(10, "ABcd", 4), mOrder), order);
}

TEST_F(CLbTurnsTest, TheOneServedLongestMakesRoomAndIsTheOnlyOneWhileTheSupplyGoesUpAndDown) {
  EXPECT_EQ(Run(10, "A", 3), " A@0");
  EXPECT_EQ(Run(10, "AB", 3), " AB@10");
  EXPECT_EQ(Run(10, "ABC", 3), " ABC@20");
  EXPECT_EQ(Run(60, "ABC", 2), " BC@30");
  EXPECT_EQ(Run(20, "ABC", 3), " ABC@90");
  EXPECT_EQ(Run(20, "ABC", 2), " BC@110");
  EXPECT_EQ(Run(20, "ABC", 1), " C@130");
  EXPECT_EQ(Run(920, "ABC", 2), " BC@150 AC@950") << "a turn's time after somebody began to wait";
  EXPECT_EQ(Run(20, "ABC", 3), " ABC@1070");
  EXPECT_EQ(Run(20, "ABC", 2), " AC@1090") << "its turn is not taken back";
}

TEST_F(CLbTurnsTest, AFreePlaceGoesToWhoWaitedLongestAndTurnsBeginAnewWhenAllWereServed) {
  EXPECT_EQ(Run(1000, "ABC", 1), " A@0 B@910");
  EXPECT_EQ(Run(10, "ABC", 2), " BC@1000");
  EXPECT_EQ(Run(200, "ABC", 3), " ABC@1010");
  EXPECT_EQ(Run(1000, "ABC", 2), " BC@1210 AC@2130");
}

TEST_F(CLbTurnsTest, OneThatIsSilentForAMomentComesBackWithItsPast) {
  EXPECT_EQ(Run(800, "ABC", 1), " A@0");
  EXPECT_EQ(Run(60, "AC", 1), "");
  EXPECT_EQ(Run(840, "ABC", 1), " B@910") << "it waited longer than C";
  EXPECT_EQ(Run(200, "AB", 1), " A@1810") << "who is not there gets no turn";
  EXPECT_EQ(Run(20, "ABC", 3), " ABC@1900");
  EXPECT_EQ(Run(880, "AC", 3), " AC@1920");
  EXPECT_EQ(Run(10, "ABC", 3), " ABC@2800");
  EXPECT_EQ(Run(10, "ABC", 2), " AC@2810") << "it was served longest";
  EXPECT_EQ(Run(900, "AC", 3), "");
  EXPECT_EQ(Run(10, "ABC", 3), " ABC@3720");
  EXPECT_EQ(Run(10, "ABC", 2), " BC@3730") << "it was away for too long";
}

TEST_F(CLbTurnsTest, ThoseWhoRestHoldTheDoorOneAfterTheOther) {
  EXPECT_EQ(Run(20, "aD", 3), " AD@0");
  EXPECT_EQ(Run(80, "abD", 3), " ABD@20");
  EXPECT_EQ(Run(60, "abcD", 3), " BCD@100 ACD@110 ABD@150");
}

TEST_F(CLbTurnsTest, ATurnOfThoseWhoRestIsShort) {
  EXPECT_EQ(Run(1500, "abcdeF", 1), " F@0 A@910 F@980");
  EXPECT_EQ(Run(350, "abcdeF", 1), " B@1810");
  EXPECT_EQ(Run(850, "aBcdeF", 1), "") << "who draws keeps its place for a whole one";
  EXPECT_EQ(Run(20, "aBcdeF", 1), " C@2710");
}

TEST_F(CLbTurnsTest, NobodyWaitsForMoreTurnsThanThereAreStations) {
  for (std::uint32_t seed = 0; seed < 20; ++seed) {
    std::mt19937 random(seed);
    std::string names = std::string("ABCDEFGH").substr(0, 2 + random() % 7);
    const std::size_t places = 1 + random() % (names.size() - 1);
    for (char& name : names) name = static_cast<char>(random() % 3 == 0 ? std::tolower(name) : name);
    std::map<char, int> waiting;
    for (int i = 0; i < 3000; ++i) {
      Run(10, names, places - (random() % 50 == 0 ? 1 : 0));
      for (const char name : mOrder) {
        waiting[name] = mServed.find(name) == std::string::npos ? waiting[name] + 10 : 0;
        ASSERT_LE(waiting[name], 900 * static_cast<int>(names.size()) + 60) << names << places << " " << seed;
      }
    }
  }
}

}  // namespace
