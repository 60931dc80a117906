#include "src/components/blackoutprotection/blackoutprotectionbase.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/log/log.h"
#include "src/components/currentcontrolconfig.h"
#include "src/limitationsources/limits.h"

namespace {

constexpr auto kClassName = "CBlackoutProtectionBase";

/// So many looks in a row without currents are put down to a hiccup of the meter.
constexpr int kToleratedFailures = 2;
constexpr int kMostFailures = 4;

}  // namespace

CBlackoutProtectionBase::CBlackoutProtectionBase(IScheduler& scheduler,
                                                 std::shared_ptr<IMeasurementSource> source,
                                                 std::shared_ptr<CCurrentControlConfig> config,
                                                 Milliseconds period, SSignals signals)
    : mSource(std::move(source)),
      mConfig(std::move(config)),
      mPeriod(period),
      mFuseRating(mConfig->GetBopFuseRating()),
      mSignals(std::move(signals)),
      mWorker(scheduler, "BlackoutProt") {
  LOG_ENTRY(kClassName);
}

CBlackoutProtectionBase::~CBlackoutProtectionBase() {
  LOG_ENTRY(kClassName);
}

bool CBlackoutProtectionBase::Init() {
  LOG_ENTRY(kClassName);
  mIsConfigValid = true;
  if (mFuseRating == 0) {
    LOG_ERROR("Invalid blackout protection fuse rating {}.", mFuseRating);
    mIsConfigValid = false;
    return false;
  }
  if (!mSource) {
    LOG_ERROR("There is no valid bop source supplied.");
    return false;
  }
  // Others share the source, which may outlive us.
  mSource->RegisterErrorHandler([weak = weak_from_this()](bool error) {
    if (const auto self = weak.lock()) self->OnSourceError(error);
  });
  return true;
}

void CBlackoutProtectionBase::Enable() {
  LOG_ENTRY(kClassName);
  if (!mSource) {
    LOG_ERROR("Blackout protection source not available");
    mSignals.meterFailure->Send(true);
    mSignals.usingFallback->Send(true);
    return;
  }
  if (!mIsConfigValid) {
    LOG_ERROR("With invalid config, blackout protection cannot be enabled.");
    mSignals.invalidConfig->Send(true);
    mSignals.usingFallback->Send(true);
    return;
  }
  mWorker.Start();
  mUpdating = mWorker.AddCall([this] { Update(); }, mPeriod, mPeriod);
}

void CBlackoutProtectionBase::Disable() {
  LOG_ENTRY(kClassName);
  mWorker.Stop();
}

bool CBlackoutProtectionBase::IsInError() const {
  return mFailures > kToleratedFailures || mSourceError || !mIsConfigValid || !mSource;
}

ThreePhaseValue CBlackoutProtectionBase::GetAllowanceCurrent() {
  const CMutexLock lock(mMutex);
  return mAllowance;
}

std::uint32_t CBlackoutProtectionBase::GetFallbackCurrent() const {
  return mConfig->GetBopFallbackCurrent();
}

void CBlackoutProtectionBase::Update() {
  const CMutexLock lock(mMutex);
  if (!mSourceError && !CheckSource()) return;
  UpdateLimit(mSource->GetMeasurementAverage(EMeasureType::Current, kSamplingPeriod));
}

bool CBlackoutProtectionBase::CheckSource() {
  if (mSource->HasMeasurement(EMeasureType::Current)) {
    if (mIsUnusableRaised) ReportUnusable(false);
    mFailures = 0;
    return true;
  }
  const int failures = std::min(mFailures + 1, kMostFailures);
  mFailures = failures;
  if (failures <= kToleratedFailures) {
    LOG_WARNING("BOP cannot obtain current measurements, retrying...");
    return false;
  }
  if (failures == kToleratedFailures + 1) {
    mSource->DumpLastReceivedData();
    ReportUnusable(true);
    LOG_ERROR("Smart meter not supported, cannot use for BOP. Limiting current to {} mA",
              GetFallbackCurrent());
  }
  return true;
}

void CBlackoutProtectionBase::OnSourceError(bool error) {
  mSourceError = error;
  if (error) {
    mSource->DumpLastReceivedData();
    LOG_ERROR("Blackout protection measurement source is in error");
  } else {
    mFailures = 0;
    ReportUnusable(false);
    LOG_INFO("Blackout protection measurement source is recovered");
  }
  ReportFallback();
}

void CBlackoutProtectionBase::ReportFallback() {
  const CMutexLock lock(mReportMutex);
  mSignals.usingFallback->Send(IsInError());
}

void CBlackoutProtectionBase::ReportUnusable(bool unusable) {
  const CMutexLock lock(mReportMutex);
  mIsUnusableRaised = unusable;
  mSignals.sourceUnusable->Send(unusable);
}

void CBlackoutProtectionBase::ReduceSignals(Milliseconds resendInterval, float threshold) {
  for (const auto& signal : {mSignals.current, mSignals.constraint}) {
    signal->Reduce(resendInterval, {threshold, threshold, threshold});
  }
}

std::int32_t CBlackoutProtectionBase::ToMilliAmpere(std::int64_t milliAmpere) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(milliAmpere, Limits::min(), Limits::max()));
}

ThreePhaseValue CBlackoutProtectionBase::Headroom(std::int64_t limit, const ThreePhaseValue& currents) {
  ThreePhaseValue headroom{};
  std::ranges::transform(currents, headroom.begin(),
                         [limit](std::int32_t current) { return ToMilliAmpere(limit - current); });
  return headroom;
}

void CBlackoutProtectionBase::SendAmperes(CDiagnosticsSignal& signal, const ThreePhaseValue& milliAmperes) {
  std::array<float, 3> amperes{};
  std::ranges::transform(milliAmperes, amperes.begin(), [](std::int32_t milliAmpere) {
    return static_cast<float>(milliAmpere) / static_cast<float>(kMilliAmperePerAmpere);
  });
  signal.Send(amperes);
}
