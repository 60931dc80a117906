#include "src/components/overcurrentprotection.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/log/log.h"
#include "src/components/currentcontrolconfig.h"
#include "src/limitationsources/limits.h"

namespace {

constexpr auto kClassName = "COvercurrentProtection";

/// mA; of a vehicle that waits a meter may show so much.
constexpr std::uint32_t kWaiting = 1000;
constexpr std::uint64_t kLargestLimit = std::numeric_limits<std::int32_t>::max();

std::uint64_t ToMilliAmpere(std::uint32_t ampere) {
  return std::uint64_t{ampere} * kMilliAmperePerAmpere;
}

std::int64_t LargestOf(const std::array<std::int32_t, 3>& currents) {
  std::int64_t largest = 0;
  for (const std::int64_t current : currents) largest = std::max(largest, std::abs(current));
  return largest;
}

bool IsAbove(std::int64_t average, std::uint32_t limit, float factor) {
  if (limit < kWaiting && average <= kWaiting) return false;
  return static_cast<float>(average) > static_cast<float>(limit) * factor;
}

}  // namespace

COvercurrentProtection::COvercurrentProtection(IScheduler& scheduler,
                                               std::shared_ptr<CCurrentControlConfig> config,
                                               std::span<const SThreshold> thresholds,
                                               std::shared_ptr<ILimiter> cable, SSignals signals,
                                               SCallbacks callbacks)
    : mConfig(std::move(config)),
      mHardwareLimit(ToMilliAmpere(mConfig->GetConfigHardwareLimit())),
      mInstallationLimit(ToMilliAmpere(mConfig->GetConfigInstallationLimit())),
      mCable(std::move(cable)),
      mSignals(std::move(signals)),
      mCallbacks(std::move(callbacks)),
      mMonitoredLimit(static_cast<std::uint32_t>(std::min(mHardwareLimit, kLargestLimit))),
      mMeter(mCallbacks.meter,
             {.silent =
                  "The station's meter is silent, overcurrent protection does not see what the vehicle draws",
              .back = "The station's meter is back, overcurrent protection looks again"}),
      mTimers(thresholds.size()),
      mWatch(scheduler, "OvercurrentProt", kCheckPeriod,
             {.look = [this] { Check(); },
              .forget =
                  [this] {
                    CancelTimers();
                    mSamples.Clear();
                  },
              .unplugged = [this] { OnUnplugged(); }}) {
  LOG_ENTRY(kClassName);
  std::ranges::transform(thresholds, mTimers.begin(), [](const SThreshold& threshold) {
    return STimer{threshold, std::nullopt};
  });
}

COvercurrentProtection::~COvercurrentProtection() {
  LOG_ENTRY(kClassName);
}

void COvercurrentProtection::Enable() {
  LOG_ENTRY(kClassName);
  if (mConfig->HasMeter()) {
    mWatch.Enable();
  } else {
    LOG_WARNING("Overcurrent protection is enabled but HwHasMeter is false.");
  }
}

void COvercurrentProtection::Disable() {
  LOG_ENTRY(kClassName);
  mWatch.Disable();
}

SLimit COvercurrentProtection::GetLimit() {
  LOG_ENTRY(kClassName);
  const std::uint64_t limit = HasStopped() ? 0 : std::min<std::uint64_t>(MonitoredLimit(), kLargestLimit);
  return {ipc::ECurrentControlOvercurrentProtection, static_cast<std::int32_t>(limit), kLimitedPhases};
}

void COvercurrentProtection::SetChargingState(ipc::EChargingState state) {
  LOG_ENTRY(kClassName);
  mWatch.SetChargingState(state);
}

void COvercurrentProtection::UpdateLimit(std::uint32_t limit) {
  LOG_ENTRY(kClassName);
  {
    const CMutexLock lock(mMutex);
    mMonitoredLimit = limit;
  }
  AnnounceLimit(limit);
}

// Whoever is enabled looks already: beginning anew with every notification could put the look off for ever.
void COvercurrentProtection::OnCableChanged() {
  LOG_ENTRY(kClassName);
  if (!mCable) return;
  const auto rating = static_cast<std::uint32_t>(std::max(mCable->GetLimit().milliAmpere, 0));
  std::uint32_t limit = 0;
  {
    const CMutexLock lock(mMutex);
    mMonitoredLimit = std::min(mMonitoredLimit, rating);
    limit = mMonitoredLimit;
  }
  AnnounceLimit(limit);
}

void COvercurrentProtection::AnnounceLimit(std::uint32_t limit) {
  if (HasStopped()) return;
  LOG_DEBUG("UpdateLimit({})", limit);
  // On the worker, so that what was said before a stop does not follow it.
  mWatch.Worker().NonBlockingCall([this] { TellLimit(); });
}

void COvercurrentProtection::TellLimit() {
  mCallbacks.limitChanged(GetLimit());
}

std::uint32_t COvercurrentProtection::MonitoredLimit() const {
  const CMutexLock lock(mMutex);
  return mMonitoredLimit;
}

void COvercurrentProtection::ClearWarnings() {
  LOG_ENTRY(kClassName);
  for (const auto& signal :
       {mSignals.hardwareLimitExceeded, mSignals.installationLimitExceeded, mSignals.cableRatingExceeded}) {
    signal->Send(false);
  }
}

void COvercurrentProtection::Check() {
  const auto data = mMeter.Read();
  if (!data || mWatch.IsVehicleGone()) return;
  mSamples.Add(LargestOf(data->milliAmpere));
  const std::int64_t average = mSamples.Sum() / mSamples.Size();
  const std::uint32_t limit = MonitoredLimit();
  for (STimer& timer : mTimers) Follow(timer, average, limit);
}

void COvercurrentProtection::Follow(STimer& timer, std::int64_t average, std::uint32_t limit) {
  const auto& [factor, duration] = timer.threshold;
  const bool isAbove = IsAbove(average, limit, factor);
  if (isAbove == timer.running.has_value()) return;
  if (isAbove) {
    LOG_WARNING("Overcurrent detected at threshold '{}', starting {}s timer", factor, duration.count());
    timer.running = mWatch.Worker().AddCall([this, &timer] { Expire(timer); }, duration);
  } else {
    LOG_INFO("Overcurrent protection no longer exceeds threshold '{}', continuing normal behaviour", factor);
    timer.running.reset();
  }
}

void COvercurrentProtection::Expire(STimer& timer) {
  timer.running.reset();
  if (!mWatch.IsEnabled() || mWatch.IsVehicleGone()) return;
  const std::uint32_t limit = MonitoredLimit();
  LOG_ERROR("Current limit ({}mA) exceeded for {} seconds, stop charging and set diagnostics signal(s)",
            limit, timer.threshold.duration.count());
  mWatch.Stop();
  CancelTimers();
  RaiseWarnings(limit);
  mCallbacks.stopCharging();
  LOG_DEBUG("UpdateLimit({})", 0);
  TellLimit();
}

void COvercurrentProtection::CancelTimers() {
  for (STimer& timer : mTimers) {
    if (!timer.running) continue;
    LOG_INFO("Stopping {}s timer for overcurrent at threshold '{}'", timer.threshold.duration.count(),
             timer.threshold.factor);
    timer.running.reset();
  }
}

void COvercurrentProtection::RaiseWarnings(std::uint32_t limit) {
  if (limit == mHardwareLimit) {
    LOG_INFO("Setting mHardwareLimitExceededSignal to 'true'.");
    mSignals.hardwareLimitExceeded->Send(true);
  }
  if (limit == mInstallationLimit) {
    LOG_INFO("Setting mInstallationLimitExceededSignal to 'true'.");
    mSignals.installationLimitExceeded->Send(true);
  }
  if (mCable && mCable->GetLimit().milliAmpere == std::int64_t{limit}) {
    LOG_INFO("Setting mCableRatingExceededSignal to 'true'.");
    mSignals.cableRatingExceeded->Send(true);
  }
}

void COvercurrentProtection::OnUnplugged() {
  LOG_INFO("The vehicle that drew too much is unplugged, overcurrent protection begins anew");
  ClearWarnings();
  TellLimit();
}
