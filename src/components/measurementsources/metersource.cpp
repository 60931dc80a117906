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
constexpr std::size_t kMostReasons = 8;

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
      mSamplingPeriod(periods.sampling),
      mSilence(periods.silence),
      mLabel(std::move(label)),
      mHeard(scheduler, periods.silence),
      mClock(scheduler) {}

void CMeterSource::DeInit() {
  LOG_ENTRY(kClassName);
  Stop();
  Worker().Stop();
  mSilenceCheck.Cancel();
}

void CMeterSource::Expect() {
  Stop();
  mIsOffering = false;
  mAccepted.reset();
  mReason.clear();
  mHeard.Restart();
  mSilenceCheck = Worker().AddCall([this] { CheckSilence(); }, mSamplingPeriod, mSamplingPeriod);
}

void CMeterSource::Accept(const SMeterReading& reading) {
  const TimePoint now = mClock.Now();
  mInterval = mAccepted && !mIsInError ? now - *mAccepted : TimePoint::duration::zero();
  mAccepted = now;
  mHeard.Restart();
  mReason.clear();
  mReasons.clear();
  {
    CMutexLock lock(mReadingMutex);
    mReading = reading;
  }
  Offer(reading);
  if (!std::exchange(mIsInError, false)) return;
  LOG_INFO("{} can be read again", mLabel);
  NotifyErrorHandlers(false);
}

void CMeterSource::Offer(const SMeterReading& reading) {
  std::uint8_t offered = 0;
  for (std::size_t index = 0; index < kMeasureTypes; ++index) {
    const auto type = static_cast<EMeasureType>(index);
    if (!(reading.*kQuantities[index])) {
      DeregisterMeasurement(type);
      continue;
    }
    offered = static_cast<std::uint8_t>(offered | 1U << index);
    if (!HasMeasurement(type)) RegisterMeasurement(type, [this, type] { return Newest(type); });
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
  if (!mHeard.HasExpired()) return IsFresh() ? void() : Withdraw();
  EnterError();
  if (mReason.empty()) mReason = fmt::format("nothing was heard of it for {} ms", mSilence.count());
  TellReason();
}

bool CMeterSource::IsFresh() const {
  constexpr int kIntervals = 3;
  if (!mIsOffering) return true;
  return mClock.Now() - *mAccepted <= std::max<TimePoint::duration>(kLeastFresh, kIntervals * mInterval);
}

void CMeterSource::Withdraw() {
  Stop();
  mIsOffering = false;
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
