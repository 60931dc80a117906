#include "src/components/loadbalancing/leader/lbprefixwalk.h"

#include <span>

#include "platform/utility/littleendian.h"

namespace {

using SPrefix = CLbPrefixWalk::SPrefix;

constexpr std::uint8_t kMostOfPair = 99;              // of two digits
constexpr std::uint32_t kMostOfLetters = 2176782335;  // 36^6 - 1

/// Bits that are not known yet are 0, the least that they can be.
bool CanBeginSerialNumber(const SPrefix& prefix) {
  const auto letters = std::span(prefix.bits).last<LittleEndian::kSize32>();
  return prefix.bits[0] <= kMostOfPair && prefix.bits[1] <= kMostOfPair &&
         LittleEndian::Read32(letters) <= kMostOfLetters;
}

SPrefix Longer(SPrefix prefix, bool bit) {
  if (bit) prefix.bits[prefix.length / 8U] |= static_cast<std::uint8_t>(1U << prefix.length % 8U);
  ++prefix.length;
  return prefix;
}

SPrefix Shorter(SPrefix prefix) {
  --prefix.length;
  prefix.bits[prefix.length / 8U] &= static_cast<std::uint8_t>(~(1U << prefix.length % 8U));
  return prefix;
}

}  // namespace

void CLbPrefixWalk::Begin() {
  mToAsk.assign(1, SStep{});
}

void CLbPrefixWalk::Skip() {
  const SStep asked = mToAsk.back();
  mToAsk.pop_back();
  if (asked.isSecond && !asked.isOtherAnswered && asked.round < mRounds)
    AskBothWays(Shorter(asked.prefix), static_cast<std::uint8_t>(asked.round + 1));
}

void CLbPrefixWalk::Descend() {
  const SStep asked = mToAsk.back();
  mToAsk.pop_back();
  const bool isFirst = !asked.isSecond && asked.prefix.length != 0;
  if (isFirst && !mToAsk.empty()) mToAsk.back().isOtherAnswered = true;
  if (!asked.prefix.IsWhole()) AskBothWays(asked.prefix, 1);
}

void CLbPrefixWalk::AskBothWays(const SPrefix& prefix, std::uint8_t round) {
  const SPrefix second = Longer(prefix, true);
  const bool hasSecond = CanBeginSerialNumber(second);
  if (hasSecond) mToAsk.push_back({.prefix = second, .round = round, .isSecond = true});
  // Alone it is both: what it says is all that is said.
  mToAsk.push_back({.prefix = Longer(prefix, false), .round = round, .isSecond = !hasSecond});
}
