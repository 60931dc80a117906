#pragma once

#include <array>
#include <cstddef>
#include <memory>

#include "platform/worker/scheduler.h"
#include "src/components/measurementsources/measurement.h"
#include "src/rpc/clients/stationmeter.h"

class CCurrentControlConfig;
class CDiagnosticsSignal;

/// Whether the current transformers see the current that the station's own meter sees: a phase on which the
/// meter does and they do not is implausible, and reported, at most once per interval of the settings. One
/// thread at a time.
class CCtPlausibility {
 public:
  /// One per phase, true while it is reported.
  using Signals = std::array<std::shared_ptr<CDiagnosticsSignal>, 3>;

  CCtPlausibility(const IClock& clock, std::shared_ptr<CCurrentControlConfig> config, StationMeter meter,
                  Signals signals);

  /// Whether any phase is implausible, reported or not. While the station's meter is silent no phase is
  /// judged; without a way to it this throws std::bad_function_call.
  bool Verify(const ThreePhaseValue& averages);
  /// Reports all phases as plausible, at once.
  void Clear();

 private:
  void Report(std::size_t phase, bool isImplausible);

  const IClock& mClock;
  const std::shared_ptr<CCurrentControlConfig> mConfig;
  const StationMeter mMeter;
  const Signals mSignals;
  std::array<bool, 3> mIsReported{};
  TimePoint mLastReport;
};
