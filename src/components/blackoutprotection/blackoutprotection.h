#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/worker/deadman.h"
#include "src/components/blackoutprotection/blackoutprotectionbase.h"

/// Blackout protection of a station on its own: regulates the charging current so that the largest of the
/// house's phase currents stays below the rating of the main fuse.
class CBlackoutProtection final : public IChargeControl, public CBlackoutProtectionBase {
 public:
  /// A further reduction than to 6 A is put off for this long, unless the fuse is in danger at once.
  static constexpr Milliseconds kMinimumCurrentHold{20000};
  /// For so long after charging began the limit is only ever reduced.
  static constexpr Milliseconds kChargingStart{30000};

  /// Called under this object's lock, on the worker and, the second, also by `Enable`.
  struct SCallbacks {
    std::function<float()> presentCurrent;  ///< the charging current that is in force, in A
    std::function<void(const SLimit&)> limitChanged;
  };

  CBlackoutProtection(IScheduler& scheduler, std::shared_ptr<IMeasurementSource> source,
                      std::shared_ptr<CCurrentControlConfig> config, Milliseconds period, SSignals signals,
                      SCallbacks callbacks);
  ~CBlackoutProtection() override;

  /// Holds charging at 0 until the first look at the house; at the fallback current when the house cannot be
  /// looked at. The current limiter is told in any case.
  void Enable() override EXCLUDES(mMutex);
  void Disable() override;
  SLimit GetLimit() override EXCLUDES(mMutex);
  void SetChargingState(ipc::EChargingState state) override;

 protected:
  void UpdateLimit(const ThreePhaseValue& currents) override REQUIRES(mMutex);

 private:
  /// The numbers are part of a log text.
  enum class EState {
    Stopped = 0,
    NotCharging = 1,
    ChargingStarted = 2,
    MinimumCurrentHold = 3,
    Regulating = 4,
    SourceError = 5
  };
  static const char* ToText(EState state);

  /// At most one transition; `largest` is the largest phase current of the house in mA.
  EState NextState(std::int64_t largest) const REQUIRES(mMutex);
  void EnterState(EState state) REQUIRES(mMutex);
  void LogState(EState before, std::int64_t largest) const REQUIRES(mMutex);
  void LimitFor(std::int64_t largest) REQUIRES(mMutex);
  void Regulate(std::int64_t largest) REQUIRES(mMutex);
  void ReduceCurrent(std::int64_t largest) REQUIRES(mMutex);
  void SetNewLimit(std::int64_t limit) REQUIRES(mMutex);
  /// Takes the limit whether it is a new one or not.
  void Announce(std::int32_t limit) REQUIRES(mMutex);
  SLimit Limit() const REQUIRES(mMutex);
  std::int64_t PresentMilliAmpere() const;

  // Shares of the fuse rating in mA.
  const std::int64_t mLevel85;
  const std::int64_t mLevel95;
  const std::int64_t mLevel100;
  const std::int64_t mLevel125;
  const std::int64_t mSmallStep;
  const std::int64_t mLargeStep;
  const SCallbacks mCallbacks;
  std::atomic<bool> mIsCharging{false};
  EState mState GUARDED_BY(mMutex) = EState::Stopped;
  std::int32_t mCurrentLimit GUARDED_BY(mMutex) = 0;  ///< mA
  CDeadman mChargingBegan GUARDED_BY(mMutex);
  CDeadman mClamped GUARDED_BY(mMutex);
};
