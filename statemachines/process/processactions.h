#pragma once

#include "ipc/currentcontrol.pb.h"

/// What the process does on its way through its states. Called by the process state machine on its worker.
class IProcessActions {
 public:
  virtual ~IProcessActions() = default;

  /// False: could not, the machine goes to Recovering.
  virtual bool Initialize() = 0;
  virtual bool Enable() = 0;
  virtual bool Recover() = 0;

  virtual void Disable() = 0;
  /// Leaves the vehicle with a safe setpoint; nothing is enabled any more.
  virtual void Terminate() = 0;

  virtual void SetMeasurementSourceConnection(const ipc::MMeasurementSource& connection) = 0;
  virtual void ClearMeasurementSourceConnection() = 0;
};
