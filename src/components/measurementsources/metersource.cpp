#include "src/components/measurementsources/metersource.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "platform/log/log.h"

namespace {

constexpr auto kClassName = "CMeterSource";
/// More are not told: a meter that always fails in another way is not news each time.
constexpr std::size_t kMostReasons = 4;
/// Of the meter's pace, for which its newest reading may be used.
constexpr int kFreshIntervals = 3;
/// How late a silence may be noticed.
constexpr Milliseconds kCheckPeriod{250};

/// Where a reading holds each quantity, by its type's number.
constexpr std::array<std::optional<ThreePhaseValue> SMeterReading::*, kMeasureTypes> kQuantities{
    &SMeterReading::current, &SMeterReading::activePower, &SMeterReading::voltage};

std::string QuantitiesText(std::uint8_t quantities) {
  std::string text;
  for (std::size_t index = 0; index < kMeasureTypes; ++index) {
    if ((quantities & 1U << index) == 0) continue;
    fmt::format_to(std::back_inserter(text), "{}{}", text.empty() ? "" : ", ",
                   ToText(static_cast<EMeasureType>(index)));
  }
  return text.empty() ? "nothing of use" : text;
}

}  // namespace

CMeterSource::CMeterSource(IScheduler& scheduler, const std::string& name, std::string label,
                           const SPeriods& periods)
    : CMeasurementSource(scheduler, name, periods.sampling, periods.storage),
      mSilence(periods.silence),
      mLabel(std::move(label)),
      mHeard(scheduler, periods.silence),
      mClock(scheduler) {}

void CMeterSource::DeInit() {
  LOG_ENTRY(kClassName);
  Worker().Stop();  // first: a reading that comes in meanwhile would begin everything anew
  mSilenceCheck.Cancel();
  Stop();
}

void CMeterSource::Expect() {
  Stop();
  mIsOffering = false;
  mIsWithdrawn = false;
  mAccepted.reset();
  mInterval.reset();
  mPace = {};
  mReason.clear();
  mHeard.Restart();
  mSilenceCheck = Worker().AddCall([this] { CheckSilence(); }, kCheckPeriod, kCheckPeriod);
}

void CMeterSource::Accept(const SMeterReading& reading) {
  NoteInterval();
  mHeard.Restart();
  mReason.clear();
  mReasons.clear();
  {
    CMutexLock lock(mReadingMutex);
    mReading = reading;
  }
  Offer(reading);  // anew what was too old until now
  const auto freshness = std::max<TimePoint::duration>(kLeastFresh, kFreshIntervals * mPace);
  mUsableUntil = (*mAccepted + std::min<TimePoint::duration>(freshness, mSilence)).time_since_epoch().count();
  Return();
}

void CMeterSource::Return() {
  if (std::exchange(mIsInError, false)) {
    LOG_INFO("{} can be read again", mLabel);
    NotifyErrorHandlers(false);
  } else if (mIsWithdrawn) {
    LOG_INFO("{} is heard again", mLabel);
  }
  mIsWithdrawn = false;
}

/// One long interval alone may have been an outage: the shorter of the newest two is the pace.
void CMeterSource::NoteInterval() {
  const TimePoint now = mClock.Now();
  if (mAccepted) {
    const auto newest = now - *mAccepted;
    mPace = mInterval ? std::min(newest, *mInterval) : newest;
    mInterval = newest;
  }
  mAccepted = now;
}

void CMeterSource::Offer(const SMeterReading& reading) {
  std::uint8_t offered = 0;
  for (std::size_t index = 0; index < kMeasureTypes; ++index) {
    const auto type = static_cast<EMeasureType>(index);
    const auto& value = reading.*kQuantities[index];
    if (!value) {
      DeregisterMeasurement(type);
      continue;
    }
    offered = static_cast<std::uint8_t>(offered | 1U << index);
    if (!HasMeasurement(type))
      RegisterMeasurement(
          type, [this, type] { return Newest(type); }, *value);
  }
  Start();
  mIsOffering = true;
  if (std::exchange(mOffered, offered) != offered)
    LOG_INFO("{} measures {}", mLabel, QuantitiesText(offered));
}

ThreePhaseValue CMeterSource::Newest(EMeasureType type) {
  CMutexLock lock(mReadingMutex);
  return (mReading.*kQuantities[static_cast<std::size_t>(type)]).value_or(ThreePhaseValue{});
}

void CMeterSource::Reject(const std::string& reason) {
  LOG_DEBUG("{}: {}", mLabel, reason);
  mReason = reason;
  CheckSilence();
  if (mIsInError) TellReason();
}

void CMeterSource::Fail(const std::string& reason) {
  mReason = reason;
  EnterError();
  TellReason();
}

void CMeterSource::CheckSilence() {
  if (mIsInError) return;
  if (!mHeard.HasExpired()) return mIsOffering && !IsUsable() ? Withdraw() : void();
  EnterError();
  if (mReason.empty()) mReason = fmt::format("nothing was heard of it for {} ms", mSilence.count());
  TellReason();
}

bool CMeterSource::IsUsable() const {
  return mClock.Now().time_since_epoch().count() <= mUsableUntil;
}

void CMeterSource::Withdraw() {
  Stop();
  mIsOffering = false;
  mIsWithdrawn = true;
  LOG_WARNING("{} is not heard: its newest reading is too old to be used", mLabel);
}

void CMeterSource::EnterError() {
  Stop();
  mIsOffering = false;
  if (!std::exchange(mIsInError, true)) NotifyErrorHandlers(true);
}

void CMeterSource::TellReason() {
  if (mReasons.size() >= kMostReasons || std::ranges::find(mReasons, mReason) != mReasons.end()) return;
  LOG_ERROR("{} cannot be read: {}", mLabel, mReason);
  mReasons.push_back(mReason);
}
