#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "src/components/limiter.h"
#include "src/components/recentsamples.h"
#include "src/components/stationmeterwatch.h"
#include "src/components/vehiclewatch.h"
#include "src/rpc/clients/stationmeter.h"

class CCurrentControlConfig;
class CDiagnosticsSignal;

/// Keeps the unbalance that the station brings to the grid within what VDE-AR-N 4100 allows: limits the
/// current so that the phase with the most apparent power stays near the one with the least, and stops a
/// vehicle that is unbalanced all the same. It stays stopped until it is unplugged.
///
/// Any thread. What is measured, balanced and stopped is so on the worker.
class CPhaseImbalanceMonitor final : public IChargeControl, public ILimiter {
 public:
  static constexpr Milliseconds kPeriod{1250};

  /// Called on the worker. No lock is held.
  struct SCallbacks {
    StationMeter meter;
    std::function<void()> stopCharging;
    std::function<void(const SLimit&)> limitChanged;
    /// The vehicle that was stopped is unplugged.
    std::function<void()> limitRemoved;
  };

  CPhaseImbalanceMonitor(IScheduler& scheduler, std::shared_ptr<CCurrentControlConfig> config,
                         Milliseconds period, std::shared_ptr<CDiagnosticsSignal> limitExceeded,
                         SCallbacks callbacks);
  ~CPhaseImbalanceMonitor() override;

  void Enable() override;
  void Disable() override;
  /// 0 mA until the first look at the meter.
  SLimit GetLimit() override;
  void SetChargingState(ipc::EChargingState state) override;

 private:
  /// In the mean of the last four samples balancing is done, with one minute's it is verified.
  static constexpr std::uint32_t kBalanced = 4;
  static constexpr std::uint32_t kVerified = 48;
  struct SPhase {
    CRecentSamples<kVerified> power;    ///< mVA
    CRecentSamples<kBalanced> voltage;  ///< V
  };

  // On the worker.
  void Update();
  void AddSamples(const SStationMeterData& data);
  void BalancePhases(std::int64_t maximum);
  void VerifyPhaseBalanceLimit(std::int64_t maximum);
  void Stop(std::int64_t maximum);
  void OnUnplugged();
  void UpdateLimit(std::int64_t limit);
  void SetLimit(std::int32_t limit);
  void FallToZero();
  void ForgetPowers();
  void ForgetSamples();
  /// mVA; the setting is read anew.
  std::int64_t MaximumImbalance() const;

  const std::shared_ptr<CCurrentControlConfig> mConfig;
  const std::shared_ptr<CDiagnosticsSignal> mLimitExceeded;
  const SCallbacks mCallbacks;
  std::atomic<std::int32_t> mLimit{0};  ///< mA

  // The worker's own.
  CStationMeterWatch mMeter;
  std::array<SPhase, 3> mPhases;
  std::uint32_t mRuns = 0;       ///< since the last balancing
  bool mHasRestarted = false;    ///< samples of before the newest limit are not to be verified
  bool mIsLimitRemoved = false;  ///< until the next one, be it the same

  CVehicleWatch mWatch;  // last, so that its worker ends first
};
