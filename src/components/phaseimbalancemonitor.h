#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/utility/mutex.h"
#include "platform/worker/worker.h"
#include "src/components/limiter.h"
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

  /// Called on the worker, `limitChanged` under this object's lock.
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
};
