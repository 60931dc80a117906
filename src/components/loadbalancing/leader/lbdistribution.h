#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "src/components/loadbalancing/leader/lbsharerequest.h"

/// One distribution, step by step. While it goes on, a request's share is the highest that the station can
/// come to: one level rises for all, and each takes part up to there. Allocates nothing. One thread.
class CLbDistribution {
 public:
  /// What is shared out, in mA: the supply's three phases, and what may be drawn on each by the stations that
  /// do not use all of them.
  static constexpr std::size_t kResources = 6;
  using Sums = std::array<std::uint64_t, kResources>;

  CLbDistribution(const Sums& capacity, std::span<SLbShareRequest> inOrder);

  /// Those who can be given the least current, in order.
  void Admit();
  /// Raises the level until each has what it can use, or stands on a full phase.
  void Fill();
  /// The least current to those who are made offers, in order, as far as there is any left.
  void Offer();

 private:
  /// What the stations cost when the level is at so many mA.
  Sums Used(std::uint64_t level) const;
  /// What it can use, as far as there is so much at all.
  std::uint64_t MostFor(const SLbShareRequest& request) const;
  bool Fits(const Sums& used) const;
  /// Gives a station that has nothing the least current, if there is that much.
  bool TryLeast(const SLbShareRequest& request, Sums& used) const;
  std::uint64_t HighestCeiling() const;
  std::uint64_t HighestFitting(std::uint64_t low, std::uint64_t high) const;
  void StopUsers(std::size_t resource, std::uint64_t level);

  const std::span<SLbShareRequest> mRequests;
  const Sums mCapacity;
  Sums mRoom;  // the capacity, or what is taken anyway where that is more
};
