#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "platform/worker/worker.h"
#include "src/components/limiter.h"
#include "src/components/measurementsources/measurement.h"
#include "src/rpc/clients/stationmeter.h"

class CCurrentControlConfig;
class CDiagnosticsSignal;

/// Charges from the solar surplus of the house: limits the current, and chooses the phases, so that what the
/// roof gives and the household does not take goes into the vehicle. How eager it is, the settings say; they
/// are read anew by every run.
///
/// `Init`, `Enable` and `Disable` one at a time; `GetLimit` from any thread. All else happens on the worker.
class CSolarCharging final : public ILimiter, public std::enable_shared_from_this<CSolarCharging> {
 public:
  static constexpr Milliseconds kPeriod{20000};

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
  SLimit GetLimit() override;
};
