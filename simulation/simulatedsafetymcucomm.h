#pragma once

#include "ipc/safetymcucomm.service.h"

/// The link to the safety microcontroller. Measures nothing until told to. Any thread.
class CSimulatedSafetyMcuComm final : public ipc::ISafetyMcuComm {
 public:
  /// Notifies exactly the temperatures that are present.
  void SetTemperatures(const ipc::MMcuTemperatures& temperatures) { mTemperatures.Notify(temperatures); }

  Rpc::CNotifier<ipc::MMcuTemperatures>& TemperatureNotifications() override { return mTemperatures; }

 private:
  Rpc::CNotifier<ipc::MMcuTemperatures> mTemperatures;
};
