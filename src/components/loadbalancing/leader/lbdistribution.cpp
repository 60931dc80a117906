#include "src/components/loadbalancing/leader/lbdistribution.h"

#include <algorithm>
#include <limits>

namespace {

constexpr std::size_t kPhases = std::tuple_size_v<LbPhaseCurrents>;
constexpr std::uint32_t kStep = 100;  // mA, of shares
constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();

std::uint64_t RoundDown(std::uint64_t milliAmpere) {
  return milliAmpere - milliAmpere % kStep;
}
std::uint64_t RoundUp(std::uint64_t milliAmpere) {
  return RoundDown(milliAmpere + kStep - 1);
}

/// What a station is served with whatever there is: it may draw that anyway.
std::uint32_t FreeShare(const SLbShareRequest& request) {
  return request.reserveMilliAmpere >= kLbLeastMilliAmpere ? request.reserveMilliAmpere : 0;
}

bool Uses(const SLbShareRequest& request, std::size_t resource) {
  const bool isUneven = (request.phases & kLbAllPhases) != kLbAllPhases;
  return HasLbPhase(request.phases, resource % kPhases) && (resource < kPhases || isUneven);
}

/// What it costs however small its share is.
std::uint32_t Floor(const SLbShareRequest& request, std::size_t resource) {
  if (resource < kPhases) return std::max(request.reserveMilliAmpere, request.overdrawn[resource]);
  return Uses(request, resource) ? request.overdrawn[resource - kPhases] : 0;
}

std::uint64_t Cost(const SLbShareRequest& request, std::size_t resource, std::uint64_t share) {
  const std::uint64_t floor = Floor(request, resource);
  return Uses(request, resource) ? std::max(floor, share) : floor;
}

std::uint64_t ShareAt(const SLbShareRequest& request, std::uint64_t level) {
  return std::max<std::uint64_t>(FreeShare(request),
                                 std::min<std::uint64_t>(request.shareMilliAmpere, level));
}

}  // namespace

CLbDistribution::CLbDistribution(const Sums& capacity, std::span<SLbShareRequest> inOrder)
    : mRequests(inOrder), mCapacity(capacity), mRoom(capacity) {
  for (SLbShareRequest& request : mRequests) {
    if ((request.phases & kLbAllPhases) == 0) request.phases = kLbAllPhases;
    request.shareMilliAmpere = FreeShare(request);
  }
  // What is taken anyway is no reason to refuse what costs nothing beyond that.
  const Sums taken = Used(0);
  for (std::size_t i = 0; i < kResources; ++i) mRoom[i] = std::max(mRoom[i], taken[i]);
}

void CLbDistribution::Admit() {
  Sums used = Used(0);
  for (SLbShareRequest& request : mRequests) {
    if (request.isOffer) continue;
    const std::uint64_t ceiling = RoundDown(MostFor(request));
    const bool isServed =
        FreeShare(request) != 0 || (ceiling >= kLbLeastMilliAmpere && TryLeast(request, used));
    if (!isServed) continue;
    request.shareMilliAmpere =
        static_cast<std::uint32_t>(std::max<std::uint64_t>(FreeShare(request), ceiling));
  }
}

void CLbDistribution::Fill() {
  std::uint64_t level = kLbLeastMilliAmpere;
  // What is full stays so: after one round for each resource nobody can rise any more.
  for (std::size_t round = 0; round <= kResources; ++round) {
    const std::uint64_t highest = RoundUp(HighestCeiling());
    if (highest <= level) return;
    level = HighestFitting(level, highest);
    if (level == highest) return;
    const Sums beyond = Used(level + kStep);
    for (std::size_t i = 0; i < kResources; ++i) {
      if (beyond[i] > mRoom[i]) StopUsers(i, level);
    }
  }
}

void CLbDistribution::Offer() {
  Sums used = Used(kMost);
  for (SLbShareRequest& request : mRequests) {
    const bool isWanted = request.isOffer && FreeShare(request) == 0;
    if (isWanted && MostFor(request) >= kLbLeastMilliAmpere && TryLeast(request, used)) {
      request.shareMilliAmpere = kLbLeastMilliAmpere;
    }
  }
}

CLbDistribution::Sums CLbDistribution::Used(std::uint64_t level) const {
  Sums used{};
  for (const SLbShareRequest& request : mRequests) {
    const std::uint64_t share = ShareAt(request, level);
    for (std::size_t i = 0; i < kResources; ++i) used[i] += Cost(request, i, share);
  }
  return used;
}

std::uint64_t CLbDistribution::MostFor(const SLbShareRequest& request) const {
  std::uint64_t most = request.mostMilliAmpere;
  for (std::size_t i = 0; i < kResources; ++i) {
    if (Uses(request, i)) most = std::min(most, mCapacity[i]);
  }
  return most;
}

bool CLbDistribution::Fits(const Sums& used) const {
  for (std::size_t i = 0; i < kResources; ++i) {
    if (used[i] > mRoom[i]) return false;
  }
  return true;
}

bool CLbDistribution::TryLeast(const SLbShareRequest& request, Sums& used) const {
  Sums with = used;
  for (std::size_t i = 0; i < kResources; ++i) {
    with[i] += Cost(request, i, kLbLeastMilliAmpere) - Cost(request, i, 0);
  }
  if (!Fits(with)) return false;
  used = with;
  return true;
}

std::uint64_t CLbDistribution::HighestCeiling() const {
  std::uint32_t highest = 0;
  for (const SLbShareRequest& request : mRequests) highest = std::max(highest, request.shareMilliAmpere);
  return highest;
}

std::uint64_t CLbDistribution::HighestFitting(std::uint64_t low, std::uint64_t high) const {
  while (low < high) {
    const std::uint64_t middle = RoundUp(low + (high - low + 1) / 2);
    if (Fits(Used(middle))) {
      low = middle;
    } else {
      high = middle - kStep;
    }
  }
  return low;
}

void CLbDistribution::StopUsers(std::size_t resource, std::uint64_t level) {
  for (SLbShareRequest& request : mRequests) {
    if (request.shareMilliAmpere <= level || !Uses(request, resource)) continue;
    const std::uint64_t ceiling = std::max<std::uint64_t>(level, FreeShare(request));
    request.shareMilliAmpere =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(request.shareMilliAmpere, ceiling));
  }
}
