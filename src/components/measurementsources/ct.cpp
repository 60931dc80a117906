#include "src/components/measurementsources/ct.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "platform/log/log.h"
#include "platform/utility/text.h"
#include "src/components/currentcontrolconfig.h"
#include "src/components/measurementsources/cttypes.h"
#include "src/components/sourceparameters.h"
#include "src/limitationsources/limits.h"

namespace {

constexpr auto kClassName = "CCt";
constexpr auto kTypeParameter = "type";
constexpr Milliseconds kAtOnce{0};

/// V, peak: the chip's full-scale input at a gain of 1.
constexpr float kFullScaleInput = 0.5F;
/// Ohm: what a transformer's secondary current flows through, times the square root of 2.
constexpr float kBurden = 6.22254F;
/// A current register at full scale.
constexpr float kFullScaleRegister = 4191910.0F;

}  // namespace

CCt::CCt(IScheduler& scheduler, std::unique_ptr<ICtMeter> chip, std::shared_ptr<CCurrentControlConfig> config,
         Json::Value parameters, const SPeriods& periods, StationMeter meter,
         CCtPlausibility::Signals signals)
    : CMeasurementSource(scheduler, kClassName, periods.sampling, periods.storage),
      mConfig(std::move(config)),
      mParameters(std::move(parameters)),
      mPeriods(periods),
      mChip(std::move(chip)),
      mSettling(scheduler, periods.settling),
      mPlausibility(scheduler, mConfig, std::move(meter), std::move(signals)) {}

CCt::~CCt() {
  LOG_ENTRY(kClassName);
  CCt::DeInit();
}

bool CCt::Init() {
  LOG_ENTRY(kClassName);
  Worker().Start();
  bool isInitialized = false;
  Worker().BlockingCall([this, &isInitialized] { isInitialized = InitOnWorker(); });
  return isInitialized;
}

void CCt::DeInit() {
  LOG_ENTRY(kClassName);
  Stop();
  Worker().Stop();
  KillWorkerCommands();
  DeregisterMeasurement(EMeasureType::Current);
}

bool CCt::InitOnWorker() {
  // What was sampled before must not stand for the present while there is nothing newer.
  Stop();
  KillWorkerCommands();
  const std::string name = SourceParameters::TextOf(mParameters, kTypeParameter);
  const SCtType* type = FindCtType(name);
  if (type == nullptr) {
    LOG_ERROR("Unknown Ct type configured: {}", Text::InOneLine(name));
    LOG_INFO("The transformers' type, as it is set, must be one of: {}", CtTypeNames());
    EnterUnusable();
    return false;
  }
  {
    CMutexLock lock(mChipMutex);
    mType = type;
    WarnOfTooLargeFuse();
  }
  if (!InitializeChip()) {
    LOG_ERROR("Ade7854 Initialization failed");
    EnterUnusable();
    KeepTryingChip();
    return false;
  }
  BeginMeasuring();
  return true;
}

void CCt::WarnOfTooLargeFuse() const {
  // What blackout protection must still tell from less.
  constexpr std::int64_t kMeasurablePercent = 125;
  const auto most = static_cast<std::int64_t>(PrimaryAmpere(kFullScaleRegister) * kMilliAmperePerAmpere);
  const std::int64_t fuse = mConfig->GetBopFuseRating();
  if (fuse * kMeasurablePercent / 100 <= most) return;
  LOG_ERROR(
      "Transformers of type {} measure at most {} mA, which is too little for a main fuse of {} mA: "
      "overloads will not be seen",
      mType->name, most, fuse);
}

bool CCt::InitializeChip() {
  const auto gains = mConfig->GetBopCalIGains();
  const auto offsets = mConfig->GetBopCalIRmsOffsets();
  std::vector<ICtMeter::SCalibration> calibrations(std::min(gains.size(), offsets.size()));
  for (std::size_t phase = 0; phase < calibrations.size(); ++phase) {
    calibrations[phase] = {.currentGain = gains[phase], .currentRmsOffset = offsets[phase]};
  }
  if (calibrations.empty()) return false;
  CMutexLock lock(mChipMutex);
  if (!mChip->Initialize(calibrations, std::array{mType->pgaGain})) return false;
  // Its registers climb from 0, which must not look like a house without load.
  if (mHasRead || mIsUnusable) mSettling.Restart();
  return true;
}

void CCt::BeginMeasuring() {
  RegisterMeasurement(EMeasureType::Current, [this] { return ReadCurrent(); });
  Start();
  if (std::exchange(mIsUnusable, false)) {
    // Only now: a reading on another thread must not end the error before the first sample is there.
    CMutexLock lock(mChipMutex);
    mReading = EReading::Awaited;
  }
  UpdateErrorState();  // for a change that the worker was stopped before
  mRunCheck = Worker().AddCall([this] { CheckChip(); }, kAtOnce, mPeriods.chipRunCheck);
  if (!mConfig->HasMeter()) {
    LOG_INFO("Meter not configured, CT plausibility reporting is not available");
    ForgetPlausibility();
    return;
  }
  mPlausibilitySwitch =
      Worker().AddCall([this] { SwitchPlausibility(); }, kAtOnce, mPeriods.plausibilitySwitch);
}

void CCt::CheckChip() {
  {
    CMutexLock lock(mChipMutex);
    if (mChip->IsRunning()) return;
  }
  LOG_ERROR("Ade7854 was reset while actively monitoring BOP lines, re-init chip.");
  if (InitializeChip()) return;
  LOG_ERROR("Re-init failed as well.");
  EnterUnusable();
  KeepTryingChip();
}

void CCt::KeepTryingChip() {
  mRunCheck = Worker().AddCall([this] { TryChipAgain(); }, mPeriods.chipRunCheck, mPeriods.chipRunCheck);
}

void CCt::TryChipAgain() {
  if (!InitializeChip()) return;
  LOG_INFO("Ade7854 could be initialized, measuring currents from now on");
  BeginMeasuring();
}

void CCt::EnterUnusable() {
  Stop();
  KillWorkerCommands();
  mIsUnusable = true;
  UpdateErrorState();
}

void CCt::KillWorkerCommands() {
  mRunCheck.Cancel();
  mPlausibilityVerification.reset();
  mPlausibilitySwitch.Cancel();
}

void CCt::SwitchPlausibility() {
  LOG_DEBUG("Check plausibility");
  if (!mConfig->IsBopCtDetectionEnabled()) {
    ForgetPlausibility();
  } else if (!mPlausibilityVerification) {
    mHasVerdict = true;
    mPlausibilityVerification =
        Worker().AddCall([this] { VerifyCtPlausibility(); }, kAtOnce, mPeriods.plausibilityVerification);
  }
}

void CCt::ForgetPlausibility() {
  if (!std::exchange(mHasVerdict, false)) return;
  mPlausibilityVerification.reset();
  mPlausibility.Clear();
  mIsImplausible = false;
  UpdateErrorState();
}

void CCt::VerifyCtPlausibility() {
  {
    CMutexLock lock(mChipMutex);
    if (mReading == EReading::Awaited || !mSettling.HasExpired()) return;
  }
  mIsImplausible =
      mPlausibility.Verify(GetMeasurementAverage(EMeasureType::Current, mPeriods.plausibilityAverage));
  UpdateErrorState();
}

void CCt::UpdateErrorState() {
  bool isInError = mIsUnusable || mIsImplausible;
  {
    CMutexLock lock(mChipMutex);
    isInError |= mReading != EReading::Good;
  }
  if (std::exchange(mIsInError, isInError) != isInError) NotifyErrorHandlers(isInError);
}

ThreePhaseValue CCt::ReadCurrent() {
  LOG_ENTRY(kClassName);
  CMutexLock lock(mChipMutex);
  const auto registers = mChip->ReadCurrentRms();
  if (registers && !mSettling.HasExpired()) return mLastGood;
  if (registers) {
    NoteReading(EReading::Good);
    mHasRead = true;
    std::ranges::transform(*registers, mLastGood.begin(),
                           [this](std::uint32_t raw) REQUIRES(mChipMutex) { return ToMilliAmpere(raw); });
    LOG_DEBUG("Measured: [{}, {}, {}]", mLastGood[0], mLastGood[1], mLastGood[2]);
  } else {
    NoteReading(EReading::Failed);
  }
  return mLastGood;
}

void CCt::NoteReading(EReading reading) {
  if (reading == mReading) return;
  if (reading == EReading::Failed) {
    LOG_ERROR("The current registers cannot be read, keeping the last currents: [{}, {}, {}] mA",
              mLastGood[0], mLastGood[1], mLastGood[2]);
  } else if (mReading == EReading::Failed) {
    LOG_INFO("The current registers can be read again");
  }
  mReading = reading;
  Worker().NonBlockingCall([this] { UpdateErrorState(); });
}

float CCt::PrimaryAmpere(float raw) const {
  return mType->turnsRatio * kFullScaleInput / kBurden * raw /
         (static_cast<float>(mType->pgaGain) * kFullScaleRegister);
}

std::int32_t CCt::ToMilliAmpere(std::uint32_t raw) const {
  constexpr float kTooMuch = 2147483648.0F;
  const float ampere = PrimaryAmpere(static_cast<float>(raw));
  if (ampere > static_cast<float>(mType->nominalCurrent)) {
    LOG_WARNING("Current on CT is higher than nominal ({}A > {}A), measurement might not be accurate.",
                ampere, mType->nominalCurrent);
  }
  const float milliAmpere = ampere * kMilliAmperePerAmpere;
  return milliAmpere < kTooMuch ? static_cast<std::int32_t>(milliAmpere)
                                : std::numeric_limits<std::int32_t>::max();
}
