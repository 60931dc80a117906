#pragma once

#include <cstdint>

#include "ipc/meter.service.h"

#include "simulation/vehicle.h"

/// The station's own meter, towards the vehicle. Any thread.
class CSimulatedMeter final : public ipc::IMeter {
 public:
  static constexpr std::int32_t kMilliVolt = 230000;

  void Measure(const CVehicle::Currents& draw) {
    ipc::MMeterData values;
    values.set_current1(static_cast<std::int32_t>(draw[0]));
    values.set_current2(static_cast<std::int32_t>(draw[1]));
    values.set_current3(static_cast<std::int32_t>(draw[2]));
    values.set_voltage1(kMilliVolt);
    values.set_voltage2(kMilliVolt);
    values.set_voltage3(kMilliVolt);
    mValues.Notify(values);
  }

  /// It measures from the start; there is nothing to switch on.
  ipc::MResult Enable(const ipc::MEmpty&) override { return {}; }
  Rpc::CNotifier<ipc::MMeterData>& ValueNotifications() override { return mValues; }

 private:
  Rpc::CNotifier<ipc::MMeterData> mValues;
};
