#include "src/components/loadbalancing/leader/lbreverseuniformalgorithm.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "src/components/iblackoutprotection.h"
#include "src/components/loadbalancing/leader/lbdistribution.h"
#include "src/components/loadbalancing/leader/lbphaseimbalancealgorithm.h"

namespace {

constexpr CLbSlowChange kSlowFall{CLbSlowChange::ESlow::Fall, CLbReverseUniformAlgorithm::kFallLasts};
constexpr CLbSlowChange kSlowRise{CLbSlowChange::ESlow::Rise, CLbReverseUniformAlgorithm::kRiseLasts};

}  // namespace

CLbReverseUniformAlgorithm::CLbReverseUniformAlgorithm(
    std::shared_ptr<CLbPhaseImbalanceAlgorithm> phaseImbalance,
    std::shared_ptr<IBlackoutProtection> blackoutProtection)
    : mPhaseImbalance(std::move(phaseImbalance)),
      mBlackoutProtection(std::move(blackoutProtection)),
      mFall{kSlowFall, kSlowFall, kSlowFall},
      mRise{kSlowRise, kSlowRise, kSlowRise} {}

LbPhaseCurrents CLbReverseUniformAlgorithm::Capacity(std::uint32_t supplyMilliAmpere,
                                                     std::optional<std::uint32_t> powerLimit,
                                                     const LbPhaseCurrents& drawn, TimePoint now) {
  const std::uint32_t most = std::min(supplyMilliAmpere, powerLimit.value_or(supplyMilliAmpere));
  LbPhaseCurrents capacity{most, most, most};
  mMomentary = capacity;
  if (!mBlackoutProtection) return capacity;
  const LbPhaseCurrents left = LeftByHouse(drawn, now);
  for (std::size_t phase = 0; phase < capacity.size(); ++phase) {
    capacity[phase] = std::min(most, mRise[phase].Take(left[phase], now));
    mMomentary[phase] = std::min(mMomentary[phase], capacity[phase]);
  }
  return capacity;
}

LbPhaseCurrents CLbReverseUniformAlgorithm::LeftByHouse(const LbPhaseCurrents& drawn, TimePoint now) {
  const bool isInError = mBlackoutProtection->IsInError();
  const std::uint32_t fallback = mBlackoutProtection->GetFallbackCurrent();
  const ThreePhaseValue headroom = isInError ? ThreePhaseValue{} : mBlackoutProtection->GetAllowanceCurrent();
  LbPhaseCurrents left{};
  for (std::size_t phase = 0; phase < left.size(); ++phase) {
    const std::int64_t sum = std::int64_t{headroom[phase]} + drawn[phase];
    const auto known = static_cast<std::uint32_t>(
        std::clamp<std::int64_t>(sum, 0, std::numeric_limits<std::uint32_t>::max()));
    const bool isUrgent = isInError || headroom[phase] < 0;
    const std::uint32_t newest = isInError ? fallback : known;
    mMomentary[phase] = std::min(mMomentary[phase], newest);
    left[phase] = isUrgent ? mFall[phase].TakeAtOnce(newest) : mFall[phase].Take(newest, now);
  }
  return left;
}

void CLbReverseUniformAlgorithm::Distribute(const LbPhaseCurrents& capacity,
                                            const LbPhaseCurrents& drawnUnevenly,
                                            std::span<SLbShareRequest> inOrder) const {
  CLbDistribution::Sums limits{};
  limits.fill(std::numeric_limits<std::uint64_t>::max());
  std::ranges::copy(capacity, limits.begin());
  if (mPhaseImbalance) {
    const std::optional<LbPhaseCurrents> allowance = mPhaseImbalance->Allowance(drawnUnevenly);
    if (allowance) std::ranges::copy(*allowance, limits.begin() + capacity.size());
  }
  CLbDistribution distribution(limits, inOrder);
  distribution.Admit();
  distribution.Fill();
  distribution.Offer();
}
