#include "src/components/solarcharging.h"

#include <array>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <numeric>
#include <string>
#include <utility>

#include <fmt/ranges.h>

#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/log/log.h"
#include "src/components/currentcontrolconfig.h"
#include "src/components/settingskeys.h"
#include "src/limitationsources/limits.h"

namespace {

constexpr auto kClassName = "CSolarCharging";

constexpr Milliseconds kResendInterval{300000};
constexpr float kChangeThresholdWatt = 125.0F;

/// A source that is in error may hold a vehicle for so long that is not charging.
constexpr Milliseconds kLongestHold = std::chrono::minutes(30);
/// Runs in a row without the house's power, of which the last gives up.
constexpr std::uint8_t kTooManyMissingPowers = 3;
constexpr std::uint8_t kMostMissingPowers = 4;

/// A smaller change of the limit is not worth telling.
constexpr std::int64_t kIgnoredMilliAmpere = 99;

/// Only part of the text: nothing lasts, or is measured, for so long.
constexpr int kToldSecondsOfEqualPower = 30;

std::string ToText(const SStationMeterData& station) {
  return fmt::format("{} mA at {} mV", station.milliAmpere, station.milliVolt);
}

}  // namespace

CSolarCharging::CSolarCharging(IScheduler& scheduler, std::shared_ptr<IMeasurementSource> source,
                               std::shared_ptr<CCurrentControlConfig> config, SSignals signals,
                               SCallbacks callbacks)
    : mClock(scheduler),
      mSource(std::move(source)),
      mConfig(std::move(config)),
      mHouseholdPower(std::move(signals.householdPower)),
      mCallbacks(std::move(callbacks)),
      mSourceUnusable(std::move(signals.sourceUnusable)),
      mNotSupported(std::move(signals.notSupported)),
      mStationMeter(
          mCallbacks.meter,
          {.silent = "The station's meter is silent: the vehicle's power is missing in the solar surplus",
           .back = "The station's meter is back: the vehicle's power counts in the solar surplus again"}),
      mPhases(mConfig),
      mWorker(scheduler, "SolarCharging") {
  LOG_ENTRY(kClassName);
  ResetReducedSignal();
  if (mSource) mPhases.SetDesired(mPhases.Decide(kLimitedPhases, mConfig->GetSolarStrategy()));
}

CSolarCharging::~CSolarCharging() {
  LOG_ENTRY(kClassName);
  mWorker.Stop();
}

void CSolarCharging::Init() {
  LOG_ENTRY(kClassName);
  if (!mSource) return;
  // Others share the source, which may outlive us.
  mSource->RegisterErrorHandler([weak = weak_from_this()](bool error) {
    if (const auto self = weak.lock()) self->NoteSourceError(error);
  });
}

void CSolarCharging::Enable() {
  LOG_ENTRY(kClassName);
  mWorker.Start();
  mUpdating = mWorker.AddCall([this] { Update(); }, kPeriod, kPeriod);
}

void CSolarCharging::Disable() {
  LOG_ENTRY(kClassName);
  mWorker.Stop();
  mUpdating.Cancel();
  ResetState();
}

SLimit CSolarCharging::GetLimit() {
  LOG_ENTRY(kClassName);
  return {ipc::ECurrentControlSolarCharging, mLimit, kLimitedPhases};
}

void CSolarCharging::Update() {
  LOG_ENTRY(kClassName);
  if (!mConfig->GetSolarChargingEnable()) return StandBy();
  if (!IsSupported()) return;
  // Settings may change at any moment; one run goes by those of one moment.
  const SSolarStrategy strategy = mConfig->GetSolarStrategy();
  if (mIsSourceInError) return AwaitSource();
  mErrorSince.reset();
  const bool hasPower = mSource->HasMeasurement(EMeasureType::ActivePower);
  // A vehicle that was let go because the house's power is missing is not held again before it is back.
  const bool mayHold = hasPower || mMissingPowers < kTooManyMissingPowers;
  if (mayHold && !HasLimit()) {
    LOG_INFO("Solar charging holds the vehicle until {} W are left over for {} s", strategy.PowerThreshold,
             strategy.ContinuousStartThreshold);
    SetNewLimit(0, mPhases.Decide(1, strategy), EUpdate::Forced);
  }
  if (!hasPower) return CountMissingPower();
  mSourceUnusable.Set(false);
  mMissingPowers = 0;
  RunAlgorithm(strategy);
}

void CSolarCharging::StandBy() {
  if (HasLimit()) {
    LOG_INFO("Solar charging is switched off, removing limit");
    return ResetState();
  }
  mSourceUnusable.Set(false);
  mNotSupported.Set(false);
  mMissingPowers = 0;
  mErrorSince.reset();
}

void CSolarCharging::ResetState() {
  mPhases.SetDesired(mPhases.Decide(1, mConfig->GetSolarStrategy()));
  mMissingPowers = 0;
  ClearLimit();
  mSourceUnusable.Reset();
  mNotSupported.Reset();
  mErrorSince.reset();
  ResetReducedSignal();
}

bool CSolarCharging::IsSupported() {
  if (!mSource) {
    if (mSourceUnusable.Set(true)) LOG_INFO("No measurement source, removing limit");
    ClearLimit();
    return false;
  }
  if (!mConfig->IsSinglePhaseSupported() || !mCallbacks.limitChanged) {
    if (mNotSupported.Set(true)) LOG_INFO("Solar charging not supported, removing limit");
    ClearLimit();
    return false;
  }
  mNotSupported.Set(false);
  return true;
}

void CSolarCharging::NoteSourceError(bool error) {
  mIsSourceInError = error;
  mWorker.NonBlockingCall([this, error] { OnSourceError(error); });
}

void CSolarCharging::OnSourceError(bool error) {
  LOG_ENTRY(kClassName);
  if (!mConfig->GetSolarChargingEnable()) return;
  if (error) {
    if (!mErrorSince) mErrorSince = mClock.Now();
    mSourceUnusable.Set(true);
    ResetReducedSignal();
  } else {
    mErrorSince.reset();
    mMissingPowers = 0;
    mSourceUnusable.Set(false);
  }
}

void CSolarCharging::AwaitSource() {
  // It may have begun while nobody heeded it.
  if (!mErrorSince) OnSourceError(true);
  if (mLimit != 0) {
    ClearLimit();
    LOG_WARNING("Solar charging measurement source has become unusable, removing solar limit");
  } else if (mErrorSince && mClock.Now() - *mErrorSince > kLongestHold && HasLimit()) {
    ClearLimit();
    LOG_WARNING("Solar charging measurement source has been unusable for 30 minutes, removing solar limit");
  }
}

void CSolarCharging::CountMissingPower() {
  if (mMissingPowers < kMostMissingPowers) ++mMissingPowers;
  if (mMissingPowers < kTooManyMissingPowers) {
    LOG_INFO("Solar charging cannot obtain power measurements, retrying...");
  } else if (mMissingPowers == kTooManyMissingPowers) {
    ClearLimit();
    mSource->DumpLastReceivedData();
    mSourceUnusable.Set(true);
    ResetReducedSignal();
    LOG_INFO("Cannot find active power on smart meter, removing solar limit");
  }
}

void CSolarCharging::RunAlgorithm(const SSolarStrategy& strategy) {
  const SStationMeterData station = mStationMeter.Read().value_or(SStationMeterData{});
  const std::int64_t household = ReadHouseholdPower();
  ++mRuns;
  if (MustSkip(household)) return;
  mLastHouseholdWatt = household;
  const auto surplus =
      SSolarSurplus::Of(household, ReadVolt(station), station.milliAmpere, mPhases.Desired());
  const std::uint8_t phases = mLimit == 0 ? mPhases.DecideBeforeStart(surplus, strategy)
                                          : mPhases.DecideWhileCharging(surplus, strategy, mRuns);
  const std::int32_t limit = ComputeLimit(surplus, phases, strategy);
  UpdateLimit(limit, phases, surplus.watt, strategy);
  LOG_DEBUG(
      "Solar charging measured {}W household power at {}V, estimated surplus is {}W, new limit is {}mA, EV "
      "is using {}",
      household, surplus.volt, surplus.watt, limit, ToText(station));
}

std::int64_t CSolarCharging::ReadHouseholdPower() {
  const auto phases = mSource->GetMeasurementAverage(EMeasureType::ActivePower, kSamplingPeriod);
  const std::int64_t watt = std::accumulate(phases.begin(), phases.end(), std::int64_t{0});
  mHouseholdPower->Send(std::array{static_cast<float>(watt)});
  return watt;
}

bool CSolarCharging::MustSkip(std::int64_t householdWatt) {
  if (mLimit == 0 || householdWatt != mLastHouseholdWatt) return false;
  // Counted up before: it is 0 only when it wrapped.
  if (mRuns == 0) {
    LOG_INFO(
        "Skipping update because power measurement is equal to the power measurement before the previous "
        "update.");
    return true;
  }
  LOG_DEBUG("Forcing update as power measurement was equal for {}s.", kToldSecondsOfEqualPower);
  return false;
}

std::int32_t CSolarCharging::ReadVolt(const SStationMeterData& station) const {
  constexpr std::int32_t kMilliVoltPerVolt = 1000;
  if (mSource->HasMeasurement(EMeasureType::Voltage)) {
    const std::int32_t volt = mSource->GetMeasurementAverage(EMeasureType::Voltage, kSamplingPeriod)[0];
    if (volt != 0) return volt;
  }
  return station.milliVolt[0] / kMilliVoltPerVolt;
}

std::int32_t CSolarCharging::ComputeLimit(const SSolarSurplus& surplus, std::uint8_t phases,
                                          const SSolarStrategy& strategy) {
  const float gain = strategy.CurrentGain;
  const std::int32_t limit = surplus.LimitFor(phases, strategy);
  const bool isAbsurd = !std::isfinite(gain) || gain <= 0.0F;
  if (isAbsurd && !mIsGainAbsurd) {
    LOG_WARNING(
        "{} is set to {} in settings.json, no sensible factor: solar charging goes no higher than {} mA",
        SettingsKeys::kSolarAdvancedCurrentGain, gain, limit);
  }
  mIsGainAbsurd = isAbsurd;
  return limit;
}

void CSolarCharging::UpdateLimit(std::int32_t limit, std::uint8_t phases, std::int32_t surplusWatt,
                                 const SSolarStrategy& strategy) {
  const bool isEnough = surplusWatt >= strategy.PowerThreshold;
  const TimePoint now = mClock.Now();
  using enum CSolarDebounce::EStep;
  switch (mLimit != 0 ? mDebounce.WhileCharging(isEnough, strategy.ContinuousStopThreshold, now)
                      : mDebounce.WhileHeld(isEnough, strategy.ContinuousStartThreshold, now)) {
    case Wait:
      return;
    case Start:
      LOG_INFO("Enough solar power, charging with {} mA on {} phases", limit, phases);
      return SetNewLimit(limit, phases, EUpdate::IfChanged);
    case Follow:
      return SetNewLimit(limit, phases, EUpdate::IfChanged);
    case FallToLeast:
      return SetNewLimit(kLeastChargingMilliAmpere, phases, EUpdate::IfChanged);
    case Stop:
      LOG_INFO("Stop limit exceeded, setting desired current to 0A");
      return SetNewLimit(0, phases, EUpdate::Forced);
  }
}

void CSolarCharging::SetNewLimit(std::int32_t limit, std::uint8_t phases, EUpdate update) {
  mRuns = 0;
  const std::int64_t change = std::abs(std::int64_t{limit} - mLimit);
  if (change <= kIgnoredMilliAmpere && phases == mPhases.Desired() && update == EUpdate::IfChanged) return;
  mPhases.SetDesired(phases);
  mLimit = limit;
  mCallbacks.limitChanged({ipc::ECurrentControlSolarCharging, limit, phases});
}

void CSolarCharging::ClearLimit() {
  mLimit = 0;
  mDebounce.Reset();
  if (HasLimit() && mCallbacks.limitRemoved) mCallbacks.limitRemoved();
}

void CSolarCharging::ResetReducedSignal() {
  mHouseholdPower->Reduce(kResendInterval, {kChangeThresholdWatt});
}
