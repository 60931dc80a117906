#pragma once

#include <cstdint>
#include <vector>

#include "src/components/loadbalancing/lbserialnumber.h"

/// Finds serial numbers by asking whose begin so, bit by bit: where somebody answers, the search goes on with
/// one bit more, both ways. Where neither way is answered something was lost, and both are asked again. What
/// can begin no serial number is left out. One thread.
class CLbPrefixWalk {
 public:
  struct SPrefix {
    LbSerialNumber bits{};
    std::uint8_t length = 0;
    bool IsWhole() const { return length == kLbSerialNumberBits; }
  };

  /// `rounds`: how often both ways are asked before nobody is believed to be there.
  explicit CLbPrefixWalk(std::uint8_t rounds) : mRounds(rounds) {}

  /// From the root, whatever was left to do.
  void Begin();
  bool IsOver() const { return mToAsk.empty(); }
  /// What to ask next, unless the walk is over. Then say what came of it:
  const SPrefix& Next() const { return mToAsk.back().prefix; }
  /// Nobody answered.
  void Skip();
  /// Somebody did. A whole serial number is found by that.
  void Descend();

 private:
  struct SStep {
    SPrefix prefix;
    std::uint8_t round = 0;        ///< of asking here and on the other way
    bool isSecond = false;         ///< of the two ways
    bool isOtherAnswered = false;  ///< of the second: was the first?
  };
  void AskBothWays(const SPrefix& prefix, std::uint8_t round);

  const std::uint8_t mRounds;
  std::vector<SStep> mToAsk;  // last one first
};
