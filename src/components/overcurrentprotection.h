#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/utility/mutex.h"
#include "src/components/limiter.h"
#include "src/components/recentsamples.h"
#include "src/components/stationmeterwatch.h"
#include "src/components/vehiclewatch.h"
#include "src/rpc/clients/stationmeter.h"

class CCurrentControlConfig;
class CDiagnosticsSignal;

/// Stops a vehicle that keeps drawing more than it may, and says which limit it did not keep to. It stays
/// stopped until it is unplugged.
///
/// Any thread. What is checked, timed and stopped is so on the worker.
class COvercurrentProtection final : public IChargeControl, public ILimiter {
 public:
  /// More than the limit times the factor, for so long, is too much.
  struct SThreshold {
    float factor;
    std::chrono::seconds duration;
  };
  static constexpr std::array<SThreshold, 3> kThresholds{{{1.1F, std::chrono::seconds(1200)},
                                                          {1.2F, std::chrono::seconds(30)},
                                                          {1.25F, std::chrono::seconds(5)}}};
  static constexpr Milliseconds kCheckPeriod{1000};

  struct SSignals {
    std::shared_ptr<CDiagnosticsSignal> hardwareLimitExceeded;
    std::shared_ptr<CDiagnosticsSignal> installationLimitExceeded;
    std::shared_ptr<CDiagnosticsSignal> cableRatingExceeded;
  };
  /// Called on the worker. No lock is held.
  struct SCallbacks {
    StationMeter meter;
    std::function<void()> stopCharging;
    /// The limit is 0 mA from a stop until the vehicle is unplugged. At any other time it only repeats what
    /// the vehicle may draw, see `HasStopped`.
    std::function<void(const SLimit&)> limitChanged;
  };

  /// `cable`: null when no cable can be plugged, as at a station with a fixed one.
  COvercurrentProtection(IScheduler& scheduler, std::shared_ptr<CCurrentControlConfig> config,
                         std::span<const SThreshold> thresholds, std::shared_ptr<ILimiter> cable,
                         SSignals signals, SCallbacks callbacks);
  ~COvercurrentProtection() override;

  void Enable() override;
  void Disable() override;
  SLimit GetLimit() override;
  void SetChargingState(ipc::EChargingState state) override;

  /// What the vehicle may draw from now on, in mA. Not heeded while it is stopped.
  void UpdateLimit(std::uint32_t limit);
  /// Another cable, or none, is plugged: no more may be drawn than it carries.
  void OnCableChanged();
  void ClearWarnings();

  /// From the stop until the vehicle is unplugged.
  bool HasStopped() const { return mWatch.HasStopped(); }

 private:
  struct STimer {
    SThreshold threshold;
    std::optional<CCallHandle> running;
  };

  void AnnounceLimit(std::uint32_t limit);
  std::uint32_t MonitoredLimit() const EXCLUDES(mMutex);

  // On the worker.
  void TellLimit();
  void Check();
  void Follow(STimer& timer, std::int64_t average, std::uint32_t limit);
  void Expire(STimer& timer);
  void CancelTimers();
  void RaiseWarnings(std::uint32_t limit);
  void OnUnplugged();

  const std::shared_ptr<CCurrentControlConfig> mConfig;
  const std::uint64_t mHardwareLimit;      ///< mA
  const std::uint64_t mInstallationLimit;  ///< mA
  const std::shared_ptr<ILimiter> mCable;
  const SSignals mSignals;
  const SCallbacks mCallbacks;

  mutable CMutex mMutex;
  /// mA; what the hardware carries until it is told. Followed while stopped as well, so that it is right when
  /// the vehicle is unplugged.
  std::uint32_t mMonitoredLimit GUARDED_BY(mMutex);

  // The worker's own.
  CStationMeterWatch mMeter;
  static constexpr std::uint32_t kAveraged = 5;
  CRecentSamples<kAveraged> mSamples;  ///< mA
  std::vector<STimer> mTimers;         ///< as many as there are thresholds, from the start

  CVehicleWatch mWatch;  // last, so that its worker ends first
};
