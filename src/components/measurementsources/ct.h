#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include <json/value.h>

#include "platform/utility/mutex.h"
#include "platform/worker/deadman.h"
#include "platform/worker/worker.h"
#include "src/components/measurementsources/ctmeter.h"
#include "src/components/measurementsources/ctplausibility.h"
#include "src/components/measurementsources/measurementsource.h"

struct SCtType;

/// The current transformers around the house's supply lines, wired to the station's own metering chip. Offers
/// `Current`.
///
/// It is in error while the chip cannot be used or read, and while its currents are implausible. A chip that
/// cannot be initialised is tried again until it can; the error then lasts until it has been read. While it
/// cannot be read, and while it settles after it was set up anew, the currents stay what they were last.
class CCt final : public CMeasurementSource {
 public:
  struct SPeriods {
    Milliseconds sampling = kSamplingPeriod;
    Milliseconds storage = kStorageTime;
    Milliseconds chipRunCheck{5000};  ///< also between attempts to initialise a chip that fails
    Milliseconds plausibilityVerification{5000};
    Milliseconds plausibilitySwitch{30000};
    Milliseconds plausibilityAverage{30000};  ///< the span of the currents that are verified
    Milliseconds settling{1200};              ///< of the registers of a chip that was set up anew
  };

  /// "type" of the parameters names the transformers. The meter data are asked for on the worker.
  CCt(IScheduler& scheduler, std::unique_ptr<ICtMeter> chip, std::shared_ptr<CCurrentControlConfig> config,
      Json::Value parameters, const SPeriods& periods, StationMeter meter, CCtPlausibility::Signals signals);
  ~CCt() override;

  /// Runs on the worker and waits for it, so the caller must hold nothing that an error handler takes.
  bool Init() override;
  /// The worker stands still when this returns. Being in error or not stays as it was.
  void DeInit() override;

 private:
  enum class EReading : std::uint8_t {
    Good,
    Failed,
    Awaited  ///< the first one of a chip that could not be used before
  };

  // On the worker.
  bool InitOnWorker();
  void BeginMeasuring();
  bool InitializeChip();
  void CheckChip();
  void KeepTryingChip();
  void TryChipAgain();
  void EnterUnusable();
  void SwitchPlausibility();
  void ForgetPlausibility();
  void VerifyCtPlausibility();
  void UpdateErrorState();

  void KillWorkerCommands();
  /// Any thread.
  ThreePhaseValue ReadCurrent();
  void NoteReading(EReading reading) REQUIRES(mChipMutex);
  std::int32_t ToMilliAmpere(std::uint32_t raw) const REQUIRES(mChipMutex);
  /// A through the transformers at this register content.
  float PrimaryAmpere(float raw) const REQUIRES(mChipMutex);
  void WarnOfTooLargeFuse() const REQUIRES(mChipMutex);

  // Constant after construction.
  const std::shared_ptr<CCurrentControlConfig> mConfig;
  const Json::Value mParameters;
  const SPeriods mPeriods;

  /// One thread at a time talks to the chip. Taken after the base's mutexes.
  CMutex mChipMutex;
  const std::unique_ptr<ICtMeter> mChip GUARDED_BY(mChipMutex);
  const SCtType* mType GUARDED_BY(mChipMutex) = nullptr;  // known when `Current` is offered
  EReading mReading GUARDED_BY(mChipMutex) = EReading::Good;
  CDeadman mSettling GUARDED_BY(mChipMutex);
  bool mHasRead GUARDED_BY(mChipMutex) = false;  // there are last currents
  ThreePhaseValue mLastGood GUARDED_BY(mChipMutex){};

  // Used on the worker, or while it stands still.
  CCtPlausibility mPlausibility;
  bool mHasVerdict = false;  // the plausibility was verified and may have been found wanting
  bool mIsImplausible = false;
  bool mIsUnusable = false;
  bool mIsInError = false;  // as the handlers know it
  CCallHandle mRunCheck;    // or the next attempts to initialise the chip
  CCallHandle mPlausibilitySwitch;
  std::optional<CCallHandle> mPlausibilityVerification;
};
