#pragma once

#include <atomic>
#include <cstdint>

#include "ipc/meter.service.h"

#include "simulation/vehicle.h"

/// The station's own meter, towards the vehicle. Any thread.
class CSimulatedMeter final : public ipc::IMeter {
 public:
  static constexpr std::int32_t kUsualMilliVolt = 230000;

  /// Of every phase from the next measurement on.
  void SetMilliVolt(std::int32_t milliVolt) { mMilliVolt = milliVolt; }
  /// While it is silent nothing is heard of what it measures.
  void Silence(bool silent) { mIsSilent = silent; }

  void Measure(const CVehicle::Currents& draw) {
    if (mIsSilent) return;
    ipc::MMeterData values;
    values.set_current1(static_cast<std::int32_t>(draw[0]));
    values.set_current2(static_cast<std::int32_t>(draw[1]));
    values.set_current3(static_cast<std::int32_t>(draw[2]));
    values.set_voltage1(mMilliVolt);
    values.set_voltage2(mMilliVolt);
    values.set_voltage3(mMilliVolt);
    mValues.Notify(values);
  }

  /// It measures from the start; there is nothing to switch on.
  ipc::MResult Enable(const ipc::MEmpty&) override { return {}; }
  Rpc::CNotifier<ipc::MMeterData>& ValueNotifications() override { return mValues; }

 private:
  std::atomic<std::int32_t> mMilliVolt{kUsualMilliVolt};
  std::atomic<bool> mIsSilent{false};
  Rpc::CNotifier<ipc::MMeterData> mValues;
};
