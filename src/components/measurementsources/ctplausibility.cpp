#include "src/components/measurementsources/ctplausibility.h"

#include <cstdint>
#include <utility>

#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/log/log.h"
#include "src/components/currentcontrolconfig.h"

namespace {

/// mA; a phase that carries no more than this on the meter is not judged.
constexpr std::int32_t kJudgedAbove = 1000;

}  // namespace

CCtPlausibility::CCtPlausibility(const IClock& clock, std::shared_ptr<CCurrentControlConfig> config,
                                 StationMeter meter, Signals signals)
    : mClock(clock),
      mConfig(std::move(config)),
      mMeter(std::move(meter)),
      mSignals(std::move(signals)),
      mLastReport(clock.Now()) {}

bool CCtPlausibility::Verify(const ThreePhaseValue& averages) {
  const ThreePhaseValue meter = mMeter().value_or(SStationMeterData()).milliAmpere;
  const std::int64_t threshold = mConfig->GetBopCtDetectionTreshold();
  const std::chrono::seconds interval(mConfig->GetBopCtDetectionReportInterval());
  const bool mayReport = mClock.Now() - mLastReport > interval;
  bool isAnyImplausible = false;
  for (std::size_t phase = 0; phase < meter.size(); ++phase) {
    if (meter[phase] <= kJudgedAbove) continue;
    const bool isImplausible = averages[phase] < threshold;
    isAnyImplausible |= isImplausible;
    if (mayReport && isImplausible != mIsReported[phase]) Report(phase, isImplausible);
  }
  return isAnyImplausible;
}

void CCtPlausibility::Report(std::size_t phase, bool isImplausible) {
  if (isImplausible) {
    LOG_WARNING("Found implausible CT at phase {}", phase + 1);
  } else {
    LOG_INFO("Warning for implausible CT at phase {} cleared", phase + 1);
  }
  mIsReported[phase] = isImplausible;
  mSignals[phase]->Send(isImplausible);
  mLastReport = mClock.Now();
}

void CCtPlausibility::Clear() {
  mIsReported.fill(false);
  for (const auto& signal : mSignals) signal->Send(false);
}
