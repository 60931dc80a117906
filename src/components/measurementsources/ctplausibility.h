#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <memory>

#include "ipc/meter.pb.h"

#include "platform/worker/scheduler.h"
#include "src/components/measurementsources/measurement.h"

class CCurrentControlConfig;
class CDiagnosticsSignal;

/// Whether the current transformers see the current that the station's own meter sees: a phase on which the
/// meter does and they do not is implausible, and reported, at most once per interval of the settings. One
/// thread at a time.
class CCtPlausibility {
 public:
  /// The newest data of the station's own meter; empty when it is silent, which judges no phase.
  using MeterDataProvider = std::function<ipc::MMeterData()>;
  /// One per phase, true while it is reported.
  using Signals = std::array<std::shared_ptr<CDiagnosticsSignal>, 3>;

  CCtPlausibility(const IClock& clock, std::shared_ptr<CCurrentControlConfig> config,
                  MeterDataProvider meterData, Signals signals);

  /// Whether any phase is implausible, reported or not. Without a provider it throws std::bad_function_call.
  bool Verify(const ThreePhaseValue& averages);
  /// Reports all phases as plausible, at once.
  void Clear();

 private:
  void Report(std::size_t phase, bool isImplausible);

  const IClock& mClock;
  const std::shared_ptr<CCurrentControlConfig> mConfig;
  const MeterDataProvider mMeterData;
  const Signals mSignals;
  std::array<bool, 3> mIsReported{};
  TimePoint mLastReport;
};
