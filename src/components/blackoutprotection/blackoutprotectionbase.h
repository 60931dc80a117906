#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/utility/mutex.h"
#include "platform/worker/worker.h"
#include "src/components/iblackoutprotection.h"
#include "src/components/limiter.h"
#include "src/components/measurementsources/measurement.h"

class CCurrentControlConfig;
class CDiagnosticsSignal;

/// What both kinds of blackout protection share: they look at the currents of the house connection once per
/// period and notice when these cannot be had.
///
/// `Init`, `Enable` and `Disable` one at a time; the rest from any thread. Held by shared pointers. A derived
/// class calls `Disable` in its destructor, so that nobody looks any more when its members go.
class CBlackoutProtectionBase : public ILimiter,
                                public IBlackoutProtection,
                                public std::enable_shared_from_this<CBlackoutProtectionBase> {
 public:
  struct SSignals {
    std::shared_ptr<CDiagnosticsSignal> current;     ///< A of each phase
    std::shared_ptr<CDiagnosticsSignal> constraint;  ///< A of each phase
    std::shared_ptr<CDiagnosticsSignal> meterFailure;
    std::shared_ptr<CDiagnosticsSignal> usingFallback;
    std::shared_ptr<CDiagnosticsSignal> invalidConfig;
    std::shared_ptr<CDiagnosticsSignal> sourceUnusable;
  };

  /// `source` may be empty: then the fuse is not watched, and everybody is told.
  CBlackoutProtectionBase(IScheduler& scheduler, std::shared_ptr<IMeasurementSource> source,
                          std::shared_ptr<CCurrentControlConfig> config, Milliseconds period,
                          SSignals signals);
  ~CBlackoutProtectionBase() override;

  void Disable() override;
  void Enable() override;

  /// Listens to the source's errors. False, with an error line, when the fuse cannot be watched. Once, before
  /// the source is initialised.
  virtual bool Init();

  bool IsInError() const override;
  ThreePhaseValue GetAllowanceCurrent() override EXCLUDES(mMutex);
  std::uint32_t GetFallbackCurrent() const override;

 protected:
  /// Of the fuse rating, as far as it is planned with.
  static constexpr std::int64_t kUsablePercent = 95;

  /// One look at the house. On the worker.
  virtual void Update() EXCLUDES(mMutex);
  /// Does with the currents of the three phases, in mA, what this kind of protection is for.
  virtual void UpdateLimit(const ThreePhaseValue& currents) REQUIRES(mMutex) = 0;

  bool HasSource() const { return mSource != nullptr; }
  bool IsConfigValid() const { return mIsConfigValid; }
  bool HasSourceReportedError() const { return mSourceError; }
  std::int64_t FuseRating() const { return mFuseRating; }
  /// In mA, truncated.
  std::int64_t PercentOfFuse(std::int64_t percent) const { return percent * mFuseRating / 100; }
  const SSignals& Signals() const { return mSignals; }

  /// Says whether the fallback is used.
  void ReportFallback() EXCLUDES(mReportMutex);
  /// Both signals of currents are sent when an element moved by the threshold, in A, or after the interval.
  void ReduceSignals(Milliseconds resendInterval, float threshold);

  /// Clamps to what a measurement can hold.
  static std::int32_t ToMilliAmpere(std::int64_t milliAmpere);
  /// What the fuse has left when `limit` mA are allowed on each phase.
  static ThreePhaseValue Headroom(std::int64_t limit, const ThreePhaseValue& currents);
  /// Sends three values in mA as A.
  static void SendAmperes(CDiagnosticsSignal& signal, const ThreePhaseValue& milliAmperes);

  CMutex mMutex;
  ThreePhaseValue mAllowance GUARDED_BY(mMutex){};

 private:
  /// On the source's worker.
  void OnSourceError(bool error);
  /// Whether there are currents to look at, be it to see that they cannot be trusted.
  bool CheckSource();
  void ReportUnusable(bool unusable) EXCLUDES(mReportMutex);

  const std::shared_ptr<IMeasurementSource> mSource;
  const std::shared_ptr<CCurrentControlConfig> mConfig;
  const Milliseconds mPeriod;
  const std::int64_t mFuseRating;  ///< mA
  const SSignals mSignals;

  std::atomic<bool> mSourceError{false};
  std::atomic<bool> mIsConfigValid{false};
  std::atomic<int> mFailures{0};  ///< looks in a row that found no currents, as far as they are counted

  /// Orders what the worker and the source's worker say, so that the last word is true.
  CMutex mReportMutex;
  std::atomic<bool> mIsUnusableRaised{false};

  CCallHandle mUpdating;
  CWorker mWorker;
};
