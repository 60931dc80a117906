#include "src/components/loadbalancing/leader/lbvehicle.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

namespace {

constexpr std::uint8_t kDone = 0x80;

class CLbVehicleTest : public ::testing::Test {
 protected:
  /// Answers each 2 s. Its wish's initial, the phases as bits while they are known, what it can use and
  /// overdraws on R, each if there is such a thing.
  std::string Take(int seconds, std::uint32_t limit, const LbPhaseCurrents& drawn, std::uint8_t report = 0) {
    for (; seconds > 0; seconds -= 2) {
      mVehicle.Take({drawn, report}, limit, mNow);
      mNow += std::chrono::seconds{2};
    }
    std::string text(1, "UDR"[static_cast<int>(mVehicle.Wish())]);
    if (mVehicle.ArePhasesKnown()) text += fmt::format(" {:03b}", mVehicle.Phases());
    if (mVehicle.Most() != 4294967295) text += fmt::format(" <{}", mVehicle.Most());
    if (mVehicle.Overdrawn()[0] != 0) text += fmt::format(" +{}", mVehicle.Overdrawn()[0]);
    return text;
  }

  CLbVehicle mVehicle;
  TimePoint mNow{};
};

TEST_F(CLbVehicleTest, SeesWhatAVehicleWants) {
  const struct {
    int seconds;
    std::uint32_t limit;
    LbPhaseCurrents drawn;
    const char* expected;
    std::uint8_t report = 0;
  } kSteps[] = {
      {600, 5999, {}, "U"},  // 40 s of what it may have, without a break
      {40, 6000, {1000, 0, 0}, "U"},
      {2, 0, {}, "U"},
      {40, 6000, {}, "U"},
      {2, 6000, {}, "R <6000", kDone},
      {10, 6000, {1001, 0, 0}, "D", kDone},  // which may be what the vehicle before left
      {2, 6000, {1001, 0, 0}, "D 001", kDone},
      {600, 0, {}, "D"},  // stopped; and who comes next may draw on other phases
      {40, 6000, {}, "D"},
      {2, 6000, {}, "R <6000"},
      {8, 6000, {6000, 0, 6000}, "D"},
      {10, 6000, {6000, 6000, 0}, "D"},  // one more
      {2, 6000, {6000, 0, 0}, "D 111"},
      {2, 6000, {}, "D"},
      {2, 6000, {6000, 0, 0}, "D 001", kDone},  // the station has found them
      {2, 6000, {6000, 1001, 0}, "D 011"},
      {600, 16000, {14500, 0, 0}, "D 011"},  // less than 1.5 A may be inaccuracy
      {30, 16000, {10000, 0, 0}, "D 011"},
      {2, 16000, {10000, 0, 0}, "D 011 <11000"},
      {600, 11000, {10000, 0, 0}, "D 011 <11000"},
      {600, 8000, {8000, 0, 0}, "D 011 <11000"},  // no sign
      {2, 11000, {10500, 0, 0}, "D 011"},         // it may have all again
      {100, 11000, {2000, 0, 0}, "D 011 <6000"},
      {2, 6000, {5600, 0, 0}, "D 011 <8000"},  // within 5 minutes 2 A more
  };
  for (const auto& step : kSteps) {
    EXPECT_EQ(Take(step.seconds, step.limit, step.drawn, step.report), step.expected)
        << (&step - kSteps) << ". step";
  }
}

TEST_F(CLbVehicleTest, OneThatIgnoresItsLimitsOverdrawsAndOneThatTakes26SecondsToFollowDoesNot) {
  std::uint32_t before = 0;
  for (const std::uint32_t limit : {32000U, 6500U, 32500U, 19500U, 19500U, 6500U, 16000U}) {
    for (std::uint32_t part = 0; part < 13; ++part)
      Take(2, limit, {before + (limit - before) / 13 * part, 0, 0});
    EXPECT_EQ(Take(4, limit, {limit, 0, 0}), "D 001") << limit;
    before = limit;
  }
  const std::array<std::uint32_t, 8> falling{32000, 32000, 26000, 20000, 14000, 8000, 8000, 8000};
  for (std::size_t i = 10; i < 5 * falling.size(); ++i) {
    EXPECT_EQ(Take(2, falling[i / 5], {falling[i / 5 - 2], 0, 0}), "D 001") << "it follows, 20 s behind";
  }
  EXPECT_EQ(Take(60, 16000, {17600, 0, 0}), "D 001") << "a meter's inaccuracy";
  EXPECT_EQ(Take(30, 10000, {17000, 0, 0}), "D 001") << "it may be coming down";
  for (const std::uint32_t limit : {10000U, 9900U, 10100U, 0U, 20000U}) {
    EXPECT_EQ(Take(10, limit, {17000, 0, 0}), "D 001 <6000 +17000") << "however often the limit changes";
  }
  EXPECT_EQ(Take(2, 9000, {9900, 0, 0}), "D 001");
  EXPECT_EQ(Take(30, 9000, {17000, 0, 0}), "D 001") << "it begins anew";
  EXPECT_EQ(Take(2, 9000, {17000, 0, 0}), "D 001 <6000 +17000");
  EXPECT_EQ(Take(2, 9000, {17000, 4294867296, 4294967295}), "D 001 <6000 +17000");
  EXPECT_THAT(mVehicle.Drawn(), ::testing::ElementsAre(17000, 0, 0)) << "-100000 and -1 mA";
  EXPECT_EQ(Take(2, 9000, {17000, 4294867295, 0}), "D 001") << "nonsense";
  EXPECT_TRUE(mVehicle.IsNonsense());
  EXPECT_THAT(mVehicle.Drawn(), ::testing::ElementsAre(9000, 0, 0)) << "what the limit allows, where it drew";
}

}  // namespace
