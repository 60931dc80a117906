#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/utility/mutex.h"
#include "platform/worker/deadman.h"
#include "src/components/measurementsources/measurementsource.h"
#include "src/components/measurementsources/meterreading.h"

/// What the meters have in common that are read apart from sampling, over a line or a network. The newest
/// reading is what is sampled, and the quantities that it carries are the ones that are offered.
///
/// A reading is used for three of the intervals in which the meter tells something, for `kLeastFresh` at
/// least, so that a load that has come meanwhile is not overlooked for long. After that nothing is offered,
/// even while the worker is busy asking the meter, until there is a newer one. The log tells both once.
///
/// A meter is in error when it could not be read for longer than its silence, and nothing is offered until it
/// can be read again. To go into error and out of it is told once, to the log and to the error handlers.
class CMeterSource : public CMeasurementSource {
 public:
  static constexpr Milliseconds kLeastFresh{5000};

  /// The worker stands still when this returns. Being in error or not stays as it was.
  void DeInit() override;

 protected:
  struct SPeriods {
    Milliseconds sampling = kSamplingPeriod;
    Milliseconds storage = kStorageTime;
    Milliseconds silence{5000};
  };

  /// The name is the worker's, `label` names the meter in log lines.
  CMeterSource(IScheduler& scheduler, const std::string& name, std::string label, const SPeriods& periods);
  /// Derived classes call `DeInit` in theirs.
  ~CMeterSource() override = default;

  // On the worker.

  /// Nothing is known of the meter from now on; its silence begins.
  void Expect();
  void Accept(const SMeterReading& reading);
  /// The meter could not be read, and why: told when that makes or finds the meter in error, and each reason
  /// once.
  void Reject(const std::string& reason);
  /// Like a silence that has lasted long enough: the meter cannot be used as things are.
  void Fail(const std::string& reason);
  bool IsInError() const { return mIsInError; }
  const std::string& Label() const { return mLabel; }
  void SetLabel(std::string label) { mLabel = std::move(label); }

 private:
  void CheckSilence();
  void NoteInterval();
  void Withdraw();
  void Return();
  bool IsUsable() const override;
  void EnterError();
  void TellReason();
  void Offer(const SMeterReading& reading);
  ThreePhaseValue Newest(EMeasureType type) EXCLUDES(mReadingMutex);

  const Milliseconds mSilence;

  CMutex mReadingMutex;
  SMeterReading mReading GUARDED_BY(mReadingMutex);

  // Used on the worker, or while it stands still.
  std::string mLabel;
  CDeadman mHeard;
  const IClock& mClock;
  /// Ticks of the clock up to which the newest reading may be used. Any thread.
  std::atomic<TimePoint::rep> mUsableUntil{TimePoint::min().time_since_epoch().count()};
  std::optional<TimePoint> mAccepted;              // the newest reading
  std::optional<TimePoint::duration> mInterval{};  // between the newest two
  TimePoint::duration mPace{};                     // of the meter; zero while it is not known
  bool mIsOffering = false;
  bool mIsWithdrawn = false;  // which was told
  bool mIsInError = false;
  std::string mReason;                // of the newest failure; empty: none since the newest reading
  std::vector<std::string> mReasons;  // that were told since the error began
  std::uint8_t mOffered = 0;          // a bit for each quantity, as last told
  CCallHandle mSilenceCheck;
};
