#pragma once

#include <atomic>

#include "ipc/adac.service.h"

/// Analogue data acquisition as the station's other services see it. Any thread.
class CSimulatedAdac final : public ipc::IAdac {
 public:
  CSimulatedAdac() {
    constexpr float kMildCelsius = 25.0F;
    SetTemperature(kMildCelsius);
    SetPpState(ipc::EPp32A);
  }

  void SetTemperature(float celsius) {
    ipc::MTemperature temperature;
    temperature.set_celsius(celsius);
    mTemperature.Notify(temperature);
  }

  /// The newest that was told.
  ipc::EPpState PpState() const { return mPpStateTold; }

  void SetPpState(ipc::EPpState state) {
    mPpStateTold = state;
    ipc::MPpState notification;
    notification.set_state(state);
    mPpState.Notify(notification);
  }

  Rpc::CNotifier<ipc::MTemperature>& TemperatureNotifications() override { return mTemperature; }
  Rpc::CNotifier<ipc::MPpState>& PpStateNotifications() override { return mPpState; }

 private:
  std::atomic<ipc::EPpState> mPpStateTold{ipc::EPp32A};
  Rpc::CNotifier<ipc::MTemperature> mTemperature;
  Rpc::CNotifier<ipc::MPpState> mPpState;
};
