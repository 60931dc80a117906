#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "src/components/measurementsourceconnection.h"
#include "statemachines/process/processactions.h"

class CCurrentControlConfig;
class CCurrentLimiter;
class IChargeControlService;
class ILimiter;

/// What current control does on its way through the states of its process. On the worker of the process state
/// machine.
class CProcessActionHandler final : public IProcessActions {
 public:
  using Components = std::vector<std::shared_ptr<ILimiter>>;

  /// Components are enabled in this order and disabled in reverse. `connectPeers` is called by every attempt
  /// to initialise.
  CProcessActionHandler(std::shared_ptr<CCurrentControlConfig> config,
                        std::shared_ptr<CCurrentLimiter> limiter,
                        std::shared_ptr<IChargeControlService> chargeControl, Components components,
                        std::function<void()> connectPeers);

  bool Initialize() override;
  bool Enable() override;
  /// Starts over: disabled, then initialised anew.
  bool Recover() override;
  /// Only what is enabled.
  void Disable() override;
  /// Disables, and leaves the vehicle with 0 A: the hardware limit, so that the current limiter can say why.
  void Terminate() override;
  /// The same once more if somebody has moved the setpoint since. Any thread, when nobody can any more.
  void EnsureSafe();
  void SetMeasurementSourceConnection(const ipc::MMeasurementSource& connection) override;
  void ClearMeasurementSourceConnection() override;

 private:
  void LeaveSafe();

  const std::shared_ptr<CCurrentLimiter> mLimiter;
  const std::shared_ptr<IChargeControlService> mChargeControl;
  const Components mComponents;
  const std::function<void()> mConnectPeers;
  CMeasurementSourceConnection mConnection;
  std::size_t mEnabled = 0;  ///< this many, from the first
};
