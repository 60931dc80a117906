#pragma once

#include <cstdint>
#include <memory>

#include "platform/worker/scheduler.h"

class CCurrentControlConfig;
struct SSolarStrategy;
struct SSolarSurplus;

/// Decides on how many phases solar charging charges: on three when the surplus, smoothed, is enough for
/// them, else on one, as far as the strategy, the settings and the station let it. One thread.
class CSolarPhases {
 public:
  /// Between two runs.
  static constexpr Milliseconds kRunPeriod{20000};

  explicit CSolarPhases(std::shared_ptr<CCurrentControlConfig> config);

  /// In force with the present limit; 0 before the first decision.
  std::uint8_t Desired() const { return mDesired; }
  /// Puts a decision into force.
  void SetDesired(std::uint8_t phases) { mDesired = phases; }

  /// What becomes of a wish.
  std::uint8_t Decide(std::uint8_t wanted, const SSolarStrategy& strategy);

  /// On how many phases to start.
  std::uint8_t DecideBeforeStart(const SSolarSurplus& surplus, const SSolarStrategy& strategy);
  /// On how many phases to go on, `runs` after a limit was chosen last, be it the same.
  std::uint8_t DecideWhileCharging(const SSolarSurplus& surplus, const SSolarStrategy& strategy,
                                   std::uint8_t runs);

 private:
  std::uint8_t Switch(std::uint8_t phases, float hysteresis, const SSolarStrategy& strategy);
  void NoteForced(bool forced);

  const std::shared_ptr<CCurrentControlConfig> mConfig;
  std::uint8_t mDesired = 0;
  float mFilteredSurplus = 0.0F;  ///< mW
  bool mIsForced = false;         ///< to one phase, by the settings
};
