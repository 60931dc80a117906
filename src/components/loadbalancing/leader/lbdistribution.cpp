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

bool TakesPart(const SLbShareRequest& request) {
  return !request.isOffer && request.mostMilliAmpere >= kLbLeastMilliAmpere;
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

CLbDistribution::CLbDistribution(const Sums& room, std::span<SLbShareRequest> inOrder)
    : mRequests(inOrder), mRoom(room) {
  for (SLbShareRequest& request : mRequests) {
    if ((request.phases & kLbAllPhases) == 0) request.phases = kLbAllPhases;
    request.shareMilliAmpere = FreeShare(request);
  }
  // What is taken anyway is no reason to refuse what costs nothing beyond that.
  const Sums taken = Used(0);
  for (std::size_t i = 0; i < kResources; ++i) mRoom[i] = std::max(mRoom[i], taken[i]);
}

void CLbDistribution::Admit() {
  const std::uint64_t room = *std::max_element(mRoom.begin(), mRoom.begin() + kPhases);
  const std::uint64_t top = std::min(room, kMost);
  Sums used = Used(0);
  for (SLbShareRequest& request : mRequests) {
    if (!TakesPart(request)) continue;
    if (FreeShare(request) == 0 && !TryLeast(request, used)) continue;
    const std::uint64_t ceiling = RoundDown(std::min<std::uint64_t>(request.mostMilliAmpere, top));
    request.shareMilliAmpere =
        static_cast<std::uint32_t>(std::max<std::uint64_t>(FreeShare(request), ceiling));
  }
}

void CLbDistribution::Fill() {
  std::uint64_t level = kLbLeastMilliAmpere;
  for (;;) {
    const std::uint64_t highest = RoundUp(HighestCeiling());
    if (highest <= level) return;
    level = HighestFitting(level, highest);
    if (level == highest) return;
    // Something is full, and stays so: this comes to pass once for each resource at most.
    const Sums beyond = Used(level + kStep);
    for (std::size_t i = 0; i < kResources; ++i) {
      if (beyond[i] > mRoom[i]) StopUsers(i, level);
    }
  }
}

void CLbDistribution::Offer() {
  Sums used = Used(kMost);
  for (SLbShareRequest& request : mRequests) {
    if (request.isOffer && FreeShare(request) == 0 && TryLeast(request, used)) {
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
    // Up to its reserve it costs nothing. What it overdraws it is not given on top: it is to come down.
    const std::uint64_t free = resource < kPhases ? RoundDown(request.reserveMilliAmpere) : 0;
    const std::uint64_t ceiling = std::max({level, free, std::uint64_t{FreeShare(request)}});
    request.shareMilliAmpere =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(request.shareMilliAmpere, ceiling));
  }
}
