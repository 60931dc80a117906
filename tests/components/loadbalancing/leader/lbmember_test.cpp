#include "src/components/loadbalancing/leader/lbmember.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

constexpr TimePoint At(Milliseconds time) {
  return TimePoint{} + time;
}

constexpr LbPhaseCurrents All(std::uint32_t milliAmpere) {
  return {milliAmpere, milliAmpere, milliAmpere};
}

TEST(LbMember, CountsWithWhatMayBeInForceWhateverGoesWrong) {
  CLbMember member(LbSerialNumber{1});
  const auto tell = [&](std::uint32_t milliAmpere, std::uint32_t sends, Milliseconds time) {
    member.Tell({.milliAmpere = milliAmpere}, At(time));
    member.Ask(ELbMessage::LimitRequest, sends, At(time));
  };
  tell(16000, 4, 0s);
  EXPECT_TRUE(member.TakeAnswer(ELbMessage::LimitAnswer, 4, At(100ms)));
  member.TakeLoad({.milliAmpere = All(16000), .report = 0x07}, At(100ms));

  tell(6000, 5, 2s);
  EXPECT_FALSE(member.GiveUpAnswer(At(2500ms)));
  tell(6000, 9, 2500ms);
  EXPECT_FALSE(member.TakeAnswer(ELbMessage::FallbackAnswer, 9, At(2600ms))) << "of another kind";
  EXPECT_FALSE(member.TakeAnswer(ELbMessage::LimitAnswer, 8, At(2600ms)))
      << "that was waiting when it was sent";
  EXPECT_FALSE(member.TakeAnswer(ELbMessage::LimitAnswer, 9, At(3501ms))) << "too late to tell to which";
  EXPECT_EQ(member.MayDraw(At(3501ms)), All(16000));
  EXPECT_TRUE(member.TakeAnswer(ELbMessage::LimitAnswer, 10, At(3500ms)));
  member.TakeLoad({.milliAmpere = All(15000), .report = 0x07}, At(3500ms));
  EXPECT_EQ(member.MayDraw(At(3500ms)), All(15000)) << "its vehicle takes its time";
  member.Lose(At(4s));
  EXPECT_EQ(member.MayDraw(At(33999ms)), All(15000)) << "as before, though nothing is heard of it";
  EXPECT_EQ(member.MayDraw(At(34s)), All(0)) << "besides its fallback";
}

TEST(LbMember, IsAskedSoonerWhenItDoesNotAnswerAndThenNoMore) {
  CLbMember member(LbSerialNumber{1});
  member.Join(At(0s));
  std::vector<std::int64_t> pauses;
  auto asked = At(0s);
  for (bool isSilent = false; !isSilent; isSilent = member.GiveUpAnswer(asked + 500ms)) {
    const TimePoint next = std::max(asked, member.NextAt(500ms, false).value());
    pauses.push_back((next - asked) / 1ms);
    member.Ask(ELbMessage::InfoRequest, 1, asked = next);
  }
  EXPECT_EQ(pauses, (std::vector<std::int64_t>{0, 500, 500, 1000, 1000, 1000, 1000, 1000}));
  EXPECT_EQ(member.State(), ELbStationState::Silent);
  EXPECT_FALSE(member.NextAt(500ms, false).has_value()) << "its place in the sequence may be lost";
  EXPECT_EQ(member.NextAt(100ms, true), asked + 10s) << "on a line it has none";
}

}  // namespace
