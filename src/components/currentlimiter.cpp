#include "src/components/currentlimiter.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <json/value.h>

#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/log/log.h"
#include "src/components/currentcontrolconfig.h"
#include "src/limitationsources/limitationsource.h"
#include "src/limitationsources/limits.h"
#include "src/rpc/clients/chargecontrolservice.h"

namespace {

constexpr auto kClassName = "CCurrentLimiter";
constexpr auto kListenerProcess = "currentLimiter";

/// A; what follows when nobody limits.
constexpr float kNoLimit = kNoLimitAmpere;
/// A; before the first setpoint, so that the first is always forwarded.
constexpr float kNoSetpoint = -1.0F;
/// A; for a source that has no threshold of its own.
constexpr float kDefaultThreshold = 0.25F;
/// A; smaller differences are rounding.
constexpr float kSmallestDifference = std::numeric_limits<float>::epsilon();

constexpr std::uint32_t kFailure = 1;

float ThresholdOf(ipc::ECurrentControlSource source) {
  if (const auto threshold = FindChangeThreshold(source)) return *threshold;
  LOG_WARNING("Trying to update current with unknown source {}, current threshold set to {}",
              SourceToString(source), kDefaultThreshold);
  return kDefaultThreshold;
}

bool IsUnchanged(float previous, float current, float threshold) {
  const float difference = std::abs(current - previous);
  return threshold <= kSmallestDifference ? difference <= kSmallestDifference : difference < threshold;
}

/// Truncates. What is no unsigned number is clamped, and what is no number at all becomes 0.
std::uint32_t ToMilliAmpere(const SLimitEntry& setpoint) {
  constexpr float kTooMuch = 4294967296.0F;
  const float milliAmpere = setpoint.current * kMilliAmperePerAmpere;
  if (milliAmpere > -1.0F && milliAmpere < kTooMuch) return static_cast<std::uint32_t>(milliAmpere);
  const std::uint32_t clamped = milliAmpere >= kTooMuch ? std::numeric_limits<std::uint32_t>::max() : 0;
  LOG_ERROR("A setpoint of {} A from source {} cannot be sent, sending {} mA", setpoint.current,
            SourceToString(setpoint.source), clamped);
  return clamped;
}

std::optional<float> ToAmpere(const Json::Value& value) {
  if (!value.isNumeric()) return std::nullopt;
  const double ampere = value.asDouble();
  if (!(std::abs(ampere) <= std::numeric_limits<float>::max())) return std::nullopt;
  return static_cast<float>(ampere);
}

}  // namespace

CCurrentLimiter::CCurrentLimiter(const IClock& clock, std::shared_ptr<CCurrentControlConfig> config,
                                 std::shared_ptr<IChargeControlService> chargeControl, SSignals signals)
    : mClock(clock),
      mConfig(std::move(config)),
      mChargeControl(std::move(chargeControl)),
      mSignals(std::move(signals)),
      mSetpoint{.current = kNoSetpoint} {
  mLimits.reserve(LimitationSources().size());
}

CCurrentLimiter::~CCurrentLimiter() {
  // The permission may have been taken away since: the listener must not outlive this object.
  if (!mFollowsUserLimit && !mConfig->IsUserDefinedChargeLimitCurrentAllowed()) return;
  const std::string key(CCurrentControlConfig::kUserDefinedChargeLimitCurrentKey);
  LOG_DEBUG("Process: {} removing listener: {}", kListenerProcess, key);
  mConfig->GetSettingsConfig()->RemoveListener(kListenerProcess, key);
}

void CCurrentLimiter::SetInitialLimits() {
  LOG_ENTRY(kClassName);
  SetLimitWithDefaultPhases(ipc::ECurrentControlHardwareLimit,
                            static_cast<float>(mConfig->GetConfigHardwareLimit()));
  SetLimitWithDefaultPhases(ipc::ECurrentControlConfigurationLimit,
                            static_cast<float>(mConfig->GetConfigInstallationLimit()));
  if (mConfig->IsUserDefinedChargeLimitCurrentAllowed()) FollowUserLimit();
}

void CCurrentLimiter::FollowUserLimit() {
  mConfig->GetSettingsConfig()->AddListener(
      kListenerProcess, std::string(CCurrentControlConfig::kUserDefinedChargeLimitCurrentKey),
      [this](const Json::Value& value) { OnUserLimitChanged(value); });
  mFollowsUserLimit = true;
  // A change that comes in between waits, so that the older value is not the one that stays.
  CMutexLock lock(mUserLimitMutex);
  SetLimitWithDefaultPhases(ipc::ECurrentControlUserLimitCurrent,
                            static_cast<float>(mConfig->GetUserDefinedChargeLimitCurrent()));
}

void CCurrentLimiter::OnUserLimitChanged(const Json::Value& value) {
  LOG_ENTRY(kClassName);
  CMutexLock lock(mUserLimitMutex);
  // What is absent or no number means the same now as after a restart: the default, of which the store warns.
  const auto ampere = ToAmpere(value);
  SetLimitWithDefaultPhases(
      ipc::ECurrentControlUserLimitCurrent,
      ampere ? *ampere : static_cast<float>(mConfig->GetUserDefinedChargeLimitCurrent()));
}

bool CCurrentLimiter::SetLimitWithDefaultPhases(ipc::ECurrentControlSource source, float current) {
  LOG_ENTRY(kClassName);
  return SetLimit(source, mConfig->GetDefaultPhaseCount(), current);
}

bool CCurrentLimiter::SetLimit(ipc::ECurrentControlSource source, std::uint8_t phases, float current) {
  LOG_ENTRY(kClassName);
  if (!IsSupported(phases)) {
    LOG_WARNING(
        "Trying to add {} phase limit of {} A from source {} on unsupported hardware configuration, ignoring",
        phases, current, SourceToString(source));
    return false;
  }
  if (std::isnan(current)) {
    LOG_WARNING("The limit from source {} is not a number, ignoring", SourceToString(source));
    return false;
  }
  Store({source, source, current, phases});
  LOG_DEBUG("Source {} limit updated to {} A {} phase", SourceToString(source), current, phases);
  return UpdateSetpoint(source);
}

SLimitEntry CCurrentLimiter::GetLimit(ipc::ECurrentControlSource source) {
  LOG_ENTRY(kClassName);
  {
    CMutexLock lock(mMutex);
    if (const auto found = Find(source); found != mLimits.end()) return found->entry;
  }
  LOG_WARNING("Trying to get limit from unavailable source {}, returning 0", SourceToString(source));
  return {source, source, 0.0F, mConfig->GetDefaultPhaseCount()};
}

bool CCurrentLimiter::HasLimit(ipc::ECurrentControlSource source) {
  LOG_ENTRY(kClassName);
  CMutexLock lock(mMutex);
  return Find(source) != mLimits.end();
}

bool CCurrentLimiter::DeleteLimit(ipc::ECurrentControlSource source) {
  LOG_ENTRY(kClassName);
  if (!Remove(source)) {
    LOG_WARNING("Trying to delete limit from source {} which does not have a limit, ignoring",
                SourceToString(source));
    return false;
  }
  return UpdateSetpoint(source);
}

SLimitEntry CCurrentLimiter::GetSetpoint() {
  LOG_ENTRY(kClassName);
  CMutexLock lock(mMutex);
  return mSetpoint;
}

SLimitEntry CCurrentLimiter::GetSetpoint(std::span<const ipc::ECurrentControlSource> without) {
  LOG_ENTRY(kClassName);
  CMutexLock lock(mMutex);
  Limits limits = mLimits;
  for (std::size_t place = 0; place < limits.size(); ++place) {
    for (const auto source : without) {
      if (place == limits.size()) break;
      if (limits[place].entry.source != source) continue;
      // The next limit moves into this place and meets only the rest of the list.
      limits.erase(limits.begin() + static_cast<std::ptrdiff_t>(place));
    }
  }
  return SelectMinimum(limits);
}

CCurrentLimiter::SExplanation CCurrentLimiter::Explain() {
  LOG_ENTRY(kClassName);
  CMutexLock lock(mMutex);
  const TimePoint now = mClock.Now();
  SExplanation explanation;
  explanation.setpoint = mSetpoint;
  explanation.selection = SelectMinimum(mLimits);
  Limits others;
  for (const auto& limit : mLimits) {
    explanation.limits.push_back({limit.entry, std::chrono::duration_cast<Milliseconds>(now - limit.since)});
    if (limit.entry.source != explanation.selection.source) others.push_back(limit);
  }
  explanation.runnerUp = SelectMinimum(others);
  return explanation;
}

bool CCurrentLimiter::IsSupported(std::uint8_t phases) const {
  if (phases == 1) return mConfig->IsSinglePhaseSupported();
  if (phases == 3) return mConfig->IsThreePhaseSupported();
  return true;
}

CCurrentLimiter::Limits::iterator CCurrentLimiter::Find(ipc::ECurrentControlSource source) {
  return std::ranges::find_if(mLimits, [&](const auto& limit) { return limit.entry.source == source; });
}

void CCurrentLimiter::Store(const SLimitEntry& entry) {
  CMutexLock lock(mMutex);
  const auto found = Find(entry.source);
  if (found == mLimits.end()) {
    mLimits.push_back({entry, mClock.Now()});
    return;
  }
  if (found->entry.current == entry.current && found->entry.phases == entry.phases) return;
  *found = {entry, mClock.Now()};
}

bool CCurrentLimiter::Remove(ipc::ECurrentControlSource source) {
  CMutexLock lock(mMutex);
  const auto found = Find(source);
  if (found == mLimits.end()) return false;
  mLimits.erase(found);
  return true;
}

SLimitEntry CCurrentLimiter::SelectMinimum(std::span<const SStoredLimit> limits) const {
  SLimitEntry result{.current = kNoLimit, .phases = mConfig->GetDefaultPhaseCount()};
  for (const auto& [entry, since] : limits) {
    if (entry.current < result.current) {
      result.current = entry.current;
      result.source = entry.source;
      if (entry.phases == result.phases) result.phaseSource = entry.phaseSource;
    }
    if (entry.phases == 1 && result.phases == 3) {
      result.phases = 1;
      result.phaseSource = entry.phaseSource;
    }
  }
  return result;
}

bool CCurrentLimiter::UpdateSetpoint(ipc::ECurrentControlSource source) {
  LOG_ENTRY(kClassName);
  CMutexLock lock(mMutex);
  const float threshold = ThresholdOf(source);
  const SLimitEntry setpoint = SelectMinimum(mLimits);
  if (IsUnchanged(mSetpoint.current, setpoint.current, threshold) && setpoint.phases == mSetpoint.phases) {
    return true;
  }
  return Forward(setpoint);
}

bool CCurrentLimiter::Forward(const SLimitEntry& setpoint) {
  const SLimitEntry previous = std::exchange(mSetpoint, setpoint);
  const auto result = mChargeControl->SetChargeCurrent(ToMilliAmpere(setpoint), setpoint.phases);
  if (result.code() == kFailure) {
    LOG_ERROR("Failed to set charge current to {} phase {} A in current control", setpoint.phases,
              setpoint.current);
    return false;
  }
  Publish(previous, setpoint);
  LOG_DEBUG("Setpoint update: New limit {} A {} phase based on sources {} and {}", setpoint.current,
            setpoint.phases, SourceToString(setpoint.source), SourceToString(setpoint.phaseSource));
  return true;
}

void CCurrentLimiter::Publish(const SLimitEntry& previous, const SLimitEntry& setpoint) {
  const std::string_view currentSource = SourceToString(setpoint.source);
  const std::string_view phasesSource = SourceToString(setpoint.phaseSource);
  mSignals.currentSource->SendText(currentSource);
  mSignals.phasesSource->SendText(phasesSource);

  const bool phasesChanged = setpoint.phases != previous.phases;
  if (setpoint.source == previous.source && !phasesChanged) return;
  std::string text = fmt::format("Current limitation source changed to {}", currentSource);
  if (phasesChanged) {
    text = fmt::format("{} and phases limitation source changed to {}", text, phasesSource);
  }
  mSignals.sourceChanged->SendEvent(text);
}
