#pragma once

#include <array>
#include <optional>

#include "componentstation.h"
#include "src/components/limiter.h"
#include "src/rpc/clients/stationmeter.h"

/// A station of 16 A whose meter tells what a protection shall see, and a record of what that one says.
struct SProtectionStation : SComponentStation {
  using Values = std::array<std::int32_t, 3>;
  static constexpr Values kMains{230000, 230000, 230000};

  explicit SProtectionStation(bool hasMeter) : SComponentStation(Log::ELogLevel::Trace) {
    hwinfo->Set("HwMaxCurrent", 16);
    hwinfo->Set("HwHasMeter", hasMeter);
    settings->Set("CurrentCtrlFixedChargeCurrentLimit", 16);
  }
  void Draw(const Values& milliAmpere, int seconds, const Values& milliVolt = kMains) {
    meter = SStationMeterData{milliAmpere, milliVolt};
    time.RunFor(std::chrono::seconds(seconds));
  }
  std::string ToldAtDraw(const Values& milliAmpere, int seconds) {
    Draw(milliAmpere, seconds);
    return TakeTold();
  }
  void Silence(int seconds) {
    meter.reset();
    time.RunFor(std::chrono::seconds(seconds));
  }
  std::optional<SStationMeterData> meter;
};
