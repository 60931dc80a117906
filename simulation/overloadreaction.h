#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "simulation/virtualstation.h"
#include "src/components/measurementsources/measurement.h"

/// A station in virtual time whose vehicle charges steadily when the household switches on more than the main
/// fuse is rated for, and off again later: how long does it take until charge control has less to offer?
/// One thread.
class COverloadReaction {
 public:
  /// The household's on the phase that is overloaded, before and after the step; the vehicle takes 16 A.
  static constexpr std::uint32_t kUsualMilliAmpere = 4000;
  static constexpr std::uint32_t kOverloadMilliAmpere = 12000;
  /// What is shown of the time before the step, of the overload, and of that after it.
  static constexpr Milliseconds kBefore{5000};
  static constexpr Milliseconds kOverload{20000};
  static constexpr Milliseconds kAfter{15000};

  /// The reaction's two delays: each from 0 to less than a sampling period.
  struct STiming {
    Milliseconds step{0};  ///< from a sample of the transformers to the step
    Milliseconds look{0};  ///< from each sample to blackout protection's look at it
  };
  /// The step just misses a sample, and each look is as late as can be.
  static constexpr STiming kSlowest{Milliseconds(0), kSamplingPeriod - Milliseconds(1)};

  /// What there is to see on the overloaded phase, in mA.
  struct SMoment {
    Milliseconds at;  ///< from the step; negative before it
    std::uint32_t total;
    std::uint32_t vehicle;
    std::uint32_t setpoint;
  };
  using Observer = std::function<void(const SMoment&)>;
  static constexpr Milliseconds kShownEvery{50};

  explicit COverloadReaction(const STiming& timing, Observer observer = {});

  /// From the step to the first smaller setpoint; none when it did not come while the overload lasted. Once.
  std::optional<Milliseconds> Play();

 private:
  void ChargeSteadily();
  void SetLoad(std::uint32_t milliAmpere);
  void OnSetpoint(std::uint32_t milliAmpere);
  void Show(Milliseconds span);

  const STiming mTiming;
  const Observer mObserver;
  CVirtualStation mStation;
  std::optional<Milliseconds> mStepped;
  std::optional<Milliseconds> mReaction;
  std::uint32_t mSetpoint = 0;
};
