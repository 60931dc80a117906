#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/ranges.h>
#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/worker/virtualscheduler.h"
#include "simulation/housemeter.h"
#include "simulation/memoryfiles.h"
#include "src/components/measurementsources/measurement.h"

/// A house with a meter, and a record of what a source for that one says; in virtual time.
struct SMeteredHouse {
  SMeteredHouse() { house.SetLoads({8000, 0, 3000}); }

  void Follow(IMeasurementSource& source) {
    source.RegisterErrorHandler([this](bool error) { told.emplace_back(error ? "in error" : "good"); });
  }
  /// What is said until the span has passed: the calls of the error handlers, then the log's lines.
  std::string Told(Milliseconds span = {}) {
    scheduler.RunFor(span);
    for (const auto& line : log.Lines()) told.push_back(line.text);
    log.Clear();
    return fmt::format("{}", fmt::join(std::exchange(told, {}), "; "));
  }

  CLogCapture log{Log::ELogLevel::Info};
  CVirtualScheduler scheduler;
  CChargePoint chargePoint{scheduler};
  CHouse house{scheduler, chargePoint};
  CHouseMeter meter{scheduler, house};
  CMemoryFiles files;
  std::vector<std::string> told;
};
