#include "src/components/loadbalancing/leader/lbdiscovery.h"

#include <algorithm>

namespace {

/// A line that loses one byte of three is searched through; on a network the next walk is soon enough.
constexpr std::uint8_t kRoundsOnLine = 8;
constexpr std::uint8_t kRoundsOnNetwork = 1;

}  // namespace

CLbDiscovery::CLbDiscovery(bool isLine) : mIsLine(isLine), mWalk(isLine ? kRoundsOnLine : kRoundsOnNetwork) {}

void CLbDiscovery::Begin() {
  if (mWalk.IsOver()) mWalk.Begin();
}

LbMessages::SDiscovery CLbDiscovery::Call(TimePoint now, Milliseconds responseTime) {
  mAnswers = 0;
  mAnswersUntil = now + responseTime;
  const CLbPrefixWalk::SPrefix& prefix = mWalk.Next();
  return {.prefix = prefix.bits, .prefixBits = prefix.length};
}

void CLbDiscovery::TakeAnswer(TimePoint now) {
  ++mAnswers;
  if (mIsLine && mAnswersUntil) mAnswersUntil = std::min(*mAnswersUntil, now + kNoise);
}

std::optional<LbSerialNumber> CLbDiscovery::Close() {
  mAnswersUntil.reset();
  const CLbPrefixWalk::SPrefix asked = mWalk.Next();
  const bool isSomebodyThere = mIsLine ? mAnswers != 0 : mAnswers > kCrowd;
  if (!isSomebodyThere) {
    mWalk.Skip();
    return std::nullopt;
  }
  mWalk.Descend();
  return mIsLine && asked.IsWhole() ? std::optional(asked.bits) : std::nullopt;
}
