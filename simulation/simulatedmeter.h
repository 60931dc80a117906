#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "ipc/meter.service.h"

#include "simulation/vehicle.h"

/// The station's own meter, towards the vehicle: tells what has changed at once, and what has not now and
/// then. Any thread but for measuring, which is for one.
class CSimulatedMeter final : public ipc::IMeter {
 public:
  static constexpr std::int32_t kUsualMilliVolt = 230000;
  /// Every so many measurements in a row that are the same are told.
  static constexpr std::uint32_t kRepeat = 5;

  /// Of every phase from the next measurement on.
  void SetMilliVolt(std::int32_t milliVolt) { mMilliVolt = milliVolt; }
  /// While it is silent nothing is heard of what it measures.
  void Silence(bool silent) { mIsSilent = silent; }

  void Measure(const CVehicle::Currents& draw) {
    const STold measured{draw, mMilliVolt};
    const bool isNews = mTold != measured || ++mRepetitions >= kRepeat;
    if (mIsSilent) return mTold.reset();
    if (!isNews) return;
    mTold = measured;
    mRepetitions = 0;
    ipc::MMeterData values;
    values.set_current1(static_cast<std::int32_t>(draw[0]));
    values.set_current2(static_cast<std::int32_t>(draw[1]));
    values.set_current3(static_cast<std::int32_t>(draw[2]));
    values.set_voltage1(measured.milliVolt);
    values.set_voltage2(measured.milliVolt);
    values.set_voltage3(measured.milliVolt);
    mValues.Notify(values);
  }

  /// It measures from the start; there is nothing to switch on.
  ipc::MResult Enable(const ipc::MEmpty&) override { return {}; }
  Rpc::CNotifier<ipc::MMeterData>& ValueNotifications() override { return mValues; }

 private:
  struct STold {
    CVehicle::Currents draw;
    std::int32_t milliVolt;
    bool operator==(const STold&) const = default;
  };

  std::atomic<std::int32_t> mMilliVolt{kUsualMilliVolt};
  std::atomic<bool> mIsSilent{false};
  std::optional<STold> mTold;  // none: nothing, or nothing since it was silent
  std::uint32_t mRepetitions = 0;
  Rpc::CNotifier<ipc::MMeterData> mValues;
};
