#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "platform/worker/scheduler.h"
#include "src/components/loadbalancing/leader/lbsharerequest.h"
#include "src/components/loadbalancing/leader/lbslowchange.h"

class CLbPhaseImbalanceAlgorithm;
class IBlackoutProtection;

/// Shares the group's current out: what there is, and who gets how much of it, which is equal shares as far
/// as each can use them; `CLbDistribution` has the steps. One thread.
class CLbReverseUniformAlgorithm {
 public:
  /// The house's meter and the stations' answers are seconds apart: when a vehicle stops, their sum is too
  /// high for a moment. What the main fuse leaves counts as more only when it has been more for so long.
  static constexpr Milliseconds kRiseLasts{10000};
  /// When one draws more, their sum is too low for a moment. As long as the main fuse has any headroom, what
  /// it leaves counts as less only when it has been less for so long.
  static constexpr Milliseconds kFallLasts{4000};

  /// Either may be empty.
  CLbReverseUniformAlgorithm(std::shared_ptr<CLbPhaseImbalanceAlgorithm> phaseImbalance,
                             std::shared_ptr<IBlackoutProtection> blackoutProtection);

  /// What the group may draw on each phase, in mA: the smallest of what the supply has, the limit from
  /// outside, and what the main fuse leaves beside the house, which is its headroom and what the group itself
  /// draws by now. A fall counts at once, but for what is said above. While the house's currents are not
  /// known it is blackout protection's fallback current.
  LbPhaseCurrents Capacity(std::uint32_t supplyMilliAmpere, std::optional<std::uint32_t> powerLimit,
                           const LbPhaseCurrents& drawn, TimePoint now);

  /// The same when it was asked for last, without waiting for a fall to last: nobody may be told more than
  /// that leaves.
  const LbPhaseCurrents& MomentaryCapacity() const { return mMomentary; }

  /// Writes each station's share. Those who come first are served first, when there is not the least current
  /// for everybody; those who are served share equally, on every phase, as far as they can use it. Then
  /// offers are made of what is left.
  ///
  /// A station with a reserve of the least current or more is served with its reserve at least, as this costs
  /// nothing. Where reserves and what is overdrawn exceed the capacity by themselves, nobody gets what would
  /// cost more. All but reserves is in whole 100 mA.
  void Distribute(const LbPhaseCurrents& capacity, const LbPhaseCurrents& drawnUnevenly,
                  std::span<SLbShareRequest> inOrder) const;

 private:
  /// What the main fuse leaves.
  LbPhaseCurrents LeftByHouse(const LbPhaseCurrents& drawn, TimePoint now);

  const std::shared_ptr<CLbPhaseImbalanceAlgorithm> mPhaseImbalance;
  const std::shared_ptr<IBlackoutProtection> mBlackoutProtection;
  // Of what the main fuse leaves on each phase; a rise of what the former one says.
  std::array<CLbSlowChange, 3> mFall;
  std::array<CLbSlowChange, 3> mRise;
  LbPhaseCurrents mMomentary{};
};
