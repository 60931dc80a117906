#include "src/components/blackoutprotection/blackoutprotection.h"

#include <algorithm>
#include <utility>

#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/log/log.h"
#include "src/limitationsources/limits.h"

namespace {

constexpr auto kClassName = "CBlackoutProtection";
constexpr Milliseconds kResendInterval{60000};
/// As much as the current limiter forwards.
constexpr float kChangeThresholdAmpere = 0.25F;

}  // namespace

CBlackoutProtection::CBlackoutProtection(IScheduler& scheduler, std::shared_ptr<IMeasurementSource> source,
                                         std::shared_ptr<CCurrentControlConfig> config, Milliseconds period,
                                         SSignals signals, SCallbacks callbacks)
    : CBlackoutProtectionBase(scheduler, std::move(source), std::move(config), period, std::move(signals)),
      mLevel85(PercentOfFuse(85)),
      mLevel95(PercentOfFuse(kUsablePercent)),
      mLevel100(FuseRating()),
      mLevel125(PercentOfFuse(125)),
      mSmallStep(PercentOfFuse(2)),
      mLargeStep(PercentOfFuse(15)),
      mCallbacks(std::move(callbacks)),
      mChargingBegan(scheduler, kChargingStart),
      mClamped(scheduler, kMinimumCurrentHold) {
  LOG_ENTRY(kClassName);
  ReduceSignals(kResendInterval, kChangeThresholdAmpere);
}

CBlackoutProtection::~CBlackoutProtection() {
  LOG_ENTRY(kClassName);
  CBlackoutProtection::Disable();
}

void CBlackoutProtection::Enable() {
  LOG_ENTRY(kClassName);
  CBlackoutProtectionBase::Enable();
  const CMutexLock lock(mMutex);
  mState = EState::Stopped;
  if (!HasSource() || !IsConfigValid()) {
    Announce(ToMilliAmpere(GetFallbackCurrent()));
    LOG_WARNING("The main fuse is not watched, limiting current to {} mA", mCurrentLimit);
  } else if (HasSourceReportedError()) {
    Announce(ToMilliAmpere(GetFallbackCurrent()));
    ReportFallback();
    LOG_ERROR("Bop hardware couldn't be initialised, limiting current to {} mA", GetFallbackCurrent());
  } else {
    Announce(0);
  }
}

void CBlackoutProtection::Disable() {
  LOG_ENTRY(kClassName);
  CBlackoutProtectionBase::Disable();
}

SLimit CBlackoutProtection::GetLimit() {
  LOG_ENTRY(kClassName);
  const CMutexLock lock(mMutex);
  return Limit();
}

void CBlackoutProtection::SetChargingState(ipc::EChargingState state) {
  LOG_ENTRY(kClassName);
  mIsCharging = state == ipc::EChargingStateCharging;
}

void CBlackoutProtection::UpdateLimit(const ThreePhaseValue& currents) {
  const std::int64_t largest = *std::ranges::max_element(currents);
  const EState before = mState;
  EnterState(NextState(largest));
  SendAmperes(*Signals().current, currents);
  mAllowance = Headroom(FuseRating(), currents);
  LimitFor(largest);
  if (mState != before) LogState(before, largest);
}

CBlackoutProtection::EState CBlackoutProtection::NextState(std::int64_t largest) const {
  if (IsInError()) return EState::SourceError;
  const bool isCharging = mIsCharging;
  switch (mState) {
    case EState::Stopped:
      return isCharging ? mState : EState::NotCharging;
    case EState::NotCharging:
      return isCharging ? EState::ChargingStarted : mState;
    case EState::SourceError:
      return isCharging ? EState::ChargingStarted : EState::NotCharging;
    case EState::ChargingStarted:
    case EState::MinimumCurrentHold:
    case EState::Regulating:
      break;
  }
  if (!isCharging) return EState::NotCharging;
  if (largest >= mLevel125) return EState::Stopped;
  if (mState == EState::ChargingStarted && mChargingBegan.HasExpired()) return EState::Regulating;
  if (mState == EState::MinimumCurrentHold) {
    if (largest < mLevel95) return EState::Regulating;
    if (largest >= mLevel100 && mClamped.HasExpired()) return EState::Stopped;
  }
  return mState;
}

void CBlackoutProtection::EnterState(EState state) {
  if (state == mState) return;
  // What a failing source interrupted goes on where it was.
  if (state == EState::ChargingStarted && mState != EState::SourceError) mChargingBegan.Restart();
  mState = state;
}

void CBlackoutProtection::LogState(EState before, std::int64_t largest) const {
  if (mState == EState::SourceError) {
    LOG_WARNING("Blackout protection: from {} to {}, limiting current to {} mA", ToText(before),
                ToText(mState), mCurrentLimit);
  } else {
    LOG_INFO("Blackout protection: from {} to {} at {} mA of {} mA, limiting current to {} mA",
             ToText(before), ToText(mState), largest, mLevel100, mCurrentLimit);
  }
}

void CBlackoutProtection::LimitFor(std::int64_t largest) {
  switch (mState) {
    case EState::Stopped:
      return SetNewLimit(0);
    case EState::NotCharging:
      return SetNewLimit(mLevel95 - largest);
    case EState::ChargingStarted:
      if (largest >= mLevel100) ReduceCurrent(largest);
      return;
    case EState::MinimumCurrentHold:
      return;
    case EState::Regulating:
      return Regulate(largest);
    case EState::SourceError:
      return SetNewLimit(GetFallbackCurrent());
  }
  LOG_ERROR("Unexpected state {}.", static_cast<int>(mState));
}

void CBlackoutProtection::Regulate(std::int64_t largest) {
  if (largest < mLevel85) {
    SetNewLimit(PresentMilliAmpere() + mLargeStep);
  } else if (largest < mLevel95) {
    SetNewLimit(PresentMilliAmpere() + mSmallStep);
  } else if (largest >= mLevel100) {
    ReduceCurrent(largest);
  }
}

void CBlackoutProtection::ReduceCurrent(std::int64_t largest) {
  std::int64_t reduced = PresentMilliAmpere() + (mLevel95 - largest);
  if (reduced >= 1 && reduced < kLeastChargingMilliAmpere) {
    reduced = kLeastChargingMilliAmpere;
    EnterState(EState::MinimumCurrentHold);
    mClamped.Restart();
  }
  SetNewLimit(reduced);
}

void CBlackoutProtection::SetNewLimit(std::int64_t limit) {
  const std::int32_t newLimit = ToMilliAmpere(std::max<std::int64_t>(limit, 0));
  if (newLimit != mCurrentLimit) Announce(newLimit);
}

void CBlackoutProtection::Announce(std::int32_t limit) {
  if (limit != mCurrentLimit) LOG_DEBUG("Update limit from {} mA to {} mA", mCurrentLimit, limit);
  mCurrentLimit = limit;
  SendAmperes(*Signals().constraint, {limit, limit, limit});
  mCallbacks.limitChanged(Limit());
}

SLimit CBlackoutProtection::Limit() const {
  return {ipc::ECurrentControlBop, mCurrentLimit, kLimitedPhases};
}

std::int64_t CBlackoutProtection::PresentMilliAmpere() const {
  constexpr float kFarTooMuch = 1e9F;
  const float milliAmpere = mCallbacks.presentCurrent() * kMilliAmperePerAmpere;
  if (milliAmpere > -kFarTooMuch && milliAmpere < kFarTooMuch) return static_cast<std::int64_t>(milliAmpere);
  LOG_ERROR("A present charging current of {} mA counts as 0", milliAmpere);
  return 0;
}

const char* CBlackoutProtection::ToText(EState state) {
  switch (state) {
    case EState::Stopped:
      return "stopped";
    case EState::NotCharging:
      return "not charging";
    case EState::ChargingStarted:
      return "charging started";
    case EState::MinimumCurrentHold:
      return "minimum current hold";
    case EState::Regulating:
      return "regulating";
    case EState::SourceError:
      return "source error";
  }
  return "unknown";
}
