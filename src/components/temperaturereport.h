#pragma once

#include <array>
#include <memory>

#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/utility/mutex.h"
#include "src/rpc/clients/temperaturelinks.h"

/// Reports the newest temperature of every thermal source as one diagnostics signal, so that a hot station
/// can be seen from afar. Any thread.
class CTemperatureReport {
 public:
  explicit CTemperatureReport(std::shared_ptr<CDiagnosticsSignal> signal);

  void SetTemperature(EThermalSource source, float celsius);

 private:
  const std::shared_ptr<CDiagnosticsSignal> mSignal;
  CMutex mMutex;
  /// By source number; not a number where nothing was heard yet.
  std::array<float, kThermalSources> mCelsius GUARDED_BY(mMutex);
};
