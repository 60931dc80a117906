#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "platform/diagnostics/warningsignal.h"
#include "platform/worker/worker.h"
#include "src/components/limiter.h"
#include "src/components/measurementsources/measurement.h"
#include "src/components/solardebounce.h"
#include "src/components/solarphases.h"
#include "src/components/solarsurplus.h"
#include "src/components/stationmeterwatch.h"
#include "src/rpc/clients/stationmeter.h"

class CCurrentControlConfig;
class CDiagnosticsSignal;
struct SSolarStrategy;

/// Charges from the solar surplus of the house: limits the current, and chooses the phases, so that what the
/// roof gives and the household does not take goes into the vehicle. How eager it is, the settings say; they
/// are read anew by every run.
///
/// `Init`, `Enable` and `Disable` one at a time; `GetLimit` from any thread. All else happens on the worker.
class CSolarCharging final : public ILimiter, public std::enable_shared_from_this<CSolarCharging> {
 public:
  static constexpr Milliseconds kPeriod = CSolarPhases::kRunPeriod;

  struct SSignals {
    std::shared_ptr<CDiagnosticsSignal> householdPower;  ///< W
    std::shared_ptr<CDiagnosticsSignal> sourceUnusable;
    std::shared_ptr<CDiagnosticsSignal> notSupported;
  };
  /// Called on the worker. Without `limitChanged` solar charging is not supported.
  struct SCallbacks {
    StationMeter meter;
    std::function<void(const SLimit&)> limitChanged;
    std::function<void()> limitRemoved;
    /// Whether the current limiter has a limit of solar charging.
    std::function<bool()> hasLimit;
  };

  /// `source` measures the power of the house; it may be empty, then there is no solar charging.
  CSolarCharging(IScheduler& scheduler, std::shared_ptr<IMeasurementSource> source,
                 std::shared_ptr<CCurrentControlConfig> config, SSignals signals, SCallbacks callbacks);
  ~CSolarCharging() override;

  /// Listens to the source's errors. Once, before the source is initialised.
  void Init();

  void Enable() override;
  /// Takes its limit back.
  void Disable() override;
  /// 0 mA while the vehicle is held, or not limited at all. Names three phases as every limiter does; those
  /// that are wanted, `limitChanged` is told.
  SLimit GetLimit() override;

 private:
  enum class EUpdate { IfChanged, Forced };

  void Update();
  void StandBy();
  void ResetState();
  bool IsSupported();
  /// On the source's worker.
  void NoteSourceError(bool error);
  void OnSourceError(bool error);
  void AwaitSource();
  void CountMissingPower();

  void RunAlgorithm(const SSolarStrategy& strategy);
  /// W drawn from the grid; negative while the house feeds into it.
  std::int64_t ReadHouseholdPower();
  bool MustSkip(std::int64_t householdWatt);
  std::int32_t ReadVolt(const SStationMeterData& station) const;
  std::int32_t ComputeLimit(const SSolarSurplus& surplus, std::uint8_t phases,
                            const SSolarStrategy& strategy);

  void UpdateLimit(std::int32_t limit, std::uint8_t phases, std::int32_t surplusWatt,
                   const SSolarStrategy& strategy);
  void SetNewLimit(std::int32_t limit, std::uint8_t phases, EUpdate update);
  void ClearLimit();
  bool HasLimit() const { return mCallbacks.hasLimit && mCallbacks.hasLimit(); }
  void ResetReducedSignal();

  // Constant after construction.
  const IClock& mClock;
  const std::shared_ptr<IMeasurementSource> mSource;
  const std::shared_ptr<CCurrentControlConfig> mConfig;
  const std::shared_ptr<CDiagnosticsSignal> mHouseholdPower;
  const SCallbacks mCallbacks;

  /// As the source said last, heeded or not.
  std::atomic<bool> mIsSourceInError{false};
  std::atomic<std::int32_t> mLimit{0};  ///< mA; changed on the worker

  // Used on the worker, or while it stands still.
  CWarningSignal mSourceUnusable;
  CWarningSignal mNotSupported;
  CStationMeterWatch mStationMeter;
  CSolarPhases mPhases;
  CSolarDebounce mDebounce;
  std::uint8_t mMissingPowers = 0;       ///< runs in a row without the household's power, as far as counted
  std::uint8_t mRuns = 0;                ///< since a limit was chosen last, be it the same; wraps
  std::int64_t mLastHouseholdWatt = 0;   ///< in the previous run
  std::optional<TimePoint> mErrorSince;  ///< while the source is in error
  bool mIsGainAbsurd = false;

  CCallHandle mUpdating;
  CWorker mWorker;
};
