#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/ranges.h>
#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/worker/virtualscheduler.h"
#include "src/components/currentcontrolconfig.h"
#include "src/diagnosticssignals/diagnosticssignals.h"
#include "support/diagnosticsrecord.h"
#include "support/memoryconfig.h"

/// The station as a component sees it, and a record of what that one says; in virtual time.
struct SComponentStation {
  explicit SComponentStation(Log::ELogLevel lowest = Log::ELogLevel::Info) : log(lowest) {}

  /// What is said until the span has passed: what was put there, the log's lines, signals.
  std::string Told(Milliseconds span = {}) {
    time.RunFor(span);
    for (const auto& line : log.Lines()) told.push_back(line.text);
    log.Clear();
    return TakeTold();
  }
  /// The same without the log.
  std::string TakeTold() {
    time.RunDue();
    for (const auto& [number, values] : diagnostics.Take()) {
      told.push_back(fmt::format("{} {}", number, fmt::join(values, " ")));
    }
    return fmt::format("{}", fmt::join(std::exchange(told, {}), "; "));
  }

  CLogCapture log;
  CVirtualScheduler time;
  CDiagnosticsRecord diagnostics{time};
  std::shared_ptr<CMemoryConfig> settings = std::make_shared<CMemoryConfig>();
  std::shared_ptr<CMemoryConfig> hwinfo = std::make_shared<CMemoryConfig>();
  std::shared_ptr<CCurrentControlConfig> config = std::make_shared<CCurrentControlConfig>(settings, hwinfo);
  std::vector<std::string> told;
};
