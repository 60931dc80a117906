#pragma once

#include <cstdint>
#include <optional>

#include "src/components/loadbalancing/lbmessage.h"

/// Keeps the supply's phases loaded alike, as far as the group can: what stations with fewer than three
/// phases draw on one phase is kept within a limit above what such stations draw on the least loaded phase.
/// Stations on all three load them alike and do not matter. One thread.
class CLbPhaseImbalanceAlgorithm {
 public:
  /// What holds when the limit is not a positive one: 4.6 kVA at 230 V, in mA.
  static constexpr std::int32_t kUsualLimit = 20000;

  CLbPhaseImbalanceAlgorithm(bool isEnabled, std::int32_t limitMilliAmpere);

  /// How much stations that do not use all phases may draw on each phase, given what they draw now. Nothing:
  /// as much as they like.
  std::optional<LbPhaseCurrents> Allowance(const LbPhaseCurrents& drawnUnevenly) const;

 private:
  const bool mIsEnabled;
  const std::uint32_t mLimit;
};
