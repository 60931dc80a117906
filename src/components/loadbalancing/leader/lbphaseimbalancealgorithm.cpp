#include "src/components/loadbalancing/leader/lbphaseimbalancealgorithm.h"

#include <algorithm>
#include <limits>

CLbPhaseImbalanceAlgorithm::CLbPhaseImbalanceAlgorithm(bool isEnabled, std::int32_t limitMilliAmpere)
    : mIsEnabled(isEnabled),
      mLimit(static_cast<std::uint32_t>(limitMilliAmpere > 0 ? limitMilliAmpere : kUsualLimit)) {}

std::optional<LbPhaseCurrents> CLbPhaseImbalanceAlgorithm::Allowance(
    const LbPhaseCurrents& drawnUnevenly) const {
  if (!mIsEnabled) return std::nullopt;
  const std::uint32_t least = *std::ranges::min_element(drawnUnevenly);
  const std::uint32_t most = std::numeric_limits<std::uint32_t>::max() - mLimit;
  const std::uint32_t allowed = mLimit + std::min(least, most);
  return LbPhaseCurrents{allowed, allowed, allowed};
}
