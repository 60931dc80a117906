#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/ranges.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include "platform/log/logcapture.h"
#include "platform/worker/virtualscheduler.h"
#include "src/components/currentcontrolconfig.h"
#include "src/components/limiter.h"
#include "src/diagnosticssignals/diagnosticssignals.h"
#include "src/rpc/clients/stationmeter.h"
#include "support/diagnosticsrecord.h"
#include "support/memoryconfig.h"

/// A station of 16 A whose meter tells what a protection shall see, and a record of what that one says.
struct SProtectionStation {
  using Values = std::array<std::int32_t, 3>;
  static constexpr Values kMains{230000, 230000, 230000};

  explicit SProtectionStation(bool hasMeter)
      : hwinfo(std::make_shared<CMemoryConfig>(std::map<std::string, Json::Value, std::less<>>{
            {"HwMaxCurrent", 16}, {"HwHasMeter", hasMeter}})) {
    settings->Set("CurrentCtrlFixedChargeCurrentLimit", 16);
  }
  void Draw(const Values& milliAmpere, int seconds, const Values& milliVolt = kMains) {
    meter = SStationMeterData{milliAmpere, milliVolt};
    time.RunFor(std::chrono::seconds(seconds));
  }
  void Silence(int seconds) {
    meter.reset();
    time.RunFor(std::chrono::seconds(seconds));
  }
  /// What was said since the last time, signals last.
  std::string Told() {
    time.RunDue();
    for (const auto& [number, values] : diagnostics.Take()) {
      told.push_back(fmt::format("{} {}", number, fmt::join(values, " ")));
    }
    return fmt::format("{}", fmt::join(std::exchange(told, {}), ", "));
  }

  CLogCapture log;
  CVirtualScheduler time;
  CDiagnosticsRecord diagnostics{time};
  std::shared_ptr<CMemoryConfig> settings = std::make_shared<CMemoryConfig>();
  std::shared_ptr<CMemoryConfig> hwinfo;
  std::shared_ptr<CCurrentControlConfig> config = std::make_shared<CCurrentControlConfig>(settings, hwinfo);
  std::optional<SStationMeterData> meter;
  std::vector<std::string> told;
};
