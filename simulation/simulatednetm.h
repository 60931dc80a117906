#pragma once

#include "ipc/netm.service.h"

/// The network manager, which measures a temperature too. Any thread.
class CSimulatedNetM final : public ipc::INetM {
 public:
  CSimulatedNetM() {
    constexpr float kMildCelsius = 30.0F;
    SetTemperature(kMildCelsius);
  }

  void SetTemperature(float celsius) {
    ipc::MTemperature temperature;
    temperature.set_celsius(celsius);
    mTemperature.Notify(temperature);
  }

  Rpc::CNotifier<ipc::MTemperature>& TemperatureNotifications() override { return mTemperature; }

 private:
  Rpc::CNotifier<ipc::MTemperature> mTemperature;
};
