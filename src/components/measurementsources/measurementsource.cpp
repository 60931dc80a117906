#include "src/components/measurementsources/measurementsource.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

#include "platform/log/log.h"

namespace {

constexpr auto kClassName = "CMeasurementSource";

std::uint32_t MaximumMeasurements(Milliseconds period, Milliseconds maximumStorage) {
  if (period <= Milliseconds{0} || maximumStorage < period ||
      maximumStorage / period > std::numeric_limits<std::uint32_t>::max()) {
    throw std::invalid_argument("a measurement source must keep at least one sampling period");
  }
  return static_cast<std::uint32_t>(maximumStorage / period);
}

constexpr std::size_t IndexOf(EMeasureType type) {
  return static_cast<std::size_t>(type);
}

}  // namespace

CMeasurementSource::CMeasurementSource(IScheduler& scheduler, const std::string& name, Milliseconds period,
                                       Milliseconds maximumStorage)
    : mPeriod(period),
      mMaximumStorage(maximumStorage),
      mMaximumMeasurements(MaximumMeasurements(period, maximumStorage)),
      mWorker(scheduler, name),
      mHistory{CSampleHistory(mMaximumMeasurements), CSampleHistory(mMaximumMeasurements),
               CSampleHistory(mMaximumMeasurements)} {
  LOG_ENTRY(kClassName);
  mWorker.Start();
}

CMeasurementSource::~CMeasurementSource() {
  mWorker.Stop();
}

ThreePhaseValue CMeasurementSource::GetMeasurementAverage(EMeasureType type, Milliseconds span) {
  LOG_ENTRY(kClassName);
  CMutexLock lock(mMeasurementMutex);
  if (!HasMeasurement(type)) return {};
  const auto& history = mHistory[IndexOf(type)];
  const auto count = static_cast<std::uint32_t>(
      std::clamp<std::int64_t>(span / mPeriod, 0, static_cast<std::int64_t>(history.Size())));
  if (count == 0) return {};
  const ThreePhaseValue average = history.AverageOfNewest(count);
  LOG_DEBUG("GetMeasurementAverage({} ms) returns {} measurements which average [{}, {}, {}]", span.count(),
            count, average[0], average[1], average[2]);
  return average;
}

ThreePhaseValue CMeasurementSource::GetMeasurements(EMeasureType type) {
  LOG_ENTRY(kClassName);
  std::shared_ptr<const MeasurementGetter> getter;
  if (IndexOf(type) < kMeasureTypes && mIsEnabled[IndexOf(type)] && IsUsable()) {
    CMutexLock lock(mRegistrationMutex);
    getter = mGetters[IndexOf(type)];
  }
  return getter ? (*getter)() : ThreePhaseValue{};
}

void CMeasurementSource::RegisterErrorHandler(ErrorHandler handler) {
  LOG_ENTRY(kClassName);
  CMutexLock lock(mErrorHandlerMutex);
  mErrorHandlers.push_back(std::move(handler));
}

bool CMeasurementSource::HasMeasurement(EMeasureType type) const {
  LOG_ENTRY(kClassName);
  return IndexOf(type) < kMeasureTypes && mIsEnabled[IndexOf(type)] && IsUsable();
}

void CMeasurementSource::DumpLastReceivedData() {
  LOG_ENTRY(kClassName);
}

void CMeasurementSource::RegisterMeasurement(EMeasureType type, MeasurementGetter getter) {
  LOG_ENTRY(kClassName);
  Register(type, std::move(getter), std::nullopt);
}

void CMeasurementSource::RegisterMeasurement(EMeasureType type, MeasurementGetter getter,
                                             const ThreePhaseValue& first) {
  LOG_ENTRY(kClassName);
  Register(type, std::move(getter), first);
}

void CMeasurementSource::Register(EMeasureType type, MeasurementGetter getter,
                                  const std::optional<ThreePhaseValue>& first) {
  const std::size_t index = IndexOf(type);
  if (index >= kMeasureTypes) return;
  auto shared = std::make_shared<const MeasurementGetter>(std::move(getter));
  {
    CMutexLock lock(mRegistrationMutex);
    mGetters[index].swap(shared);
  }
  // The older getter's last sample is among those that go, and nobody sees the new type with old samples.
  CMutexLock lock(mMeasurementMutex);
  mHistory[index].Clear();
  if (first) mHistory[index].Add(*first);
  mIsEnabled[index] = true;
}

void CMeasurementSource::DeregisterMeasurement(EMeasureType type) {
  LOG_ENTRY(kClassName);
  if (IndexOf(type) < kMeasureTypes) mIsEnabled[IndexOf(type)] = false;
}

void CMeasurementSource::Start() {
  CMutexLock lock(mMeasurementMutex);
  if (mIsSampling) return;
  LOG_DEBUG("Starting measurements. Period: {} ms, Maximum storage: {} ms Maximum measurements: {}",
            mPeriod.count(), mMaximumStorage.count(), mMaximumMeasurements);
  mIsSampling = true;
  const std::uint32_t run = ++mSamplingRun;
  mSampling = mWorker.AddCall([this, run] { Sample(run); }, Milliseconds{0}, mPeriod);
}

void CMeasurementSource::Stop() {
  LOG_ENTRY(kClassName);
  CCallHandle sampling;  // cancelled after the lock is gone, for which a run in progress may be waiting
  CMutexLock lock(mMeasurementMutex);
  mIsSampling = false;
  sampling = std::move(mSampling);
  std::ranges::for_each(mIsEnabled, [](auto& isEnabled) { isEnabled = false; });
  for (auto& history : mHistory) history.Clear();
}

void CMeasurementSource::NotifyErrorHandlers(bool error) {
  LOG_ENTRY(kClassName);
  CMutexLock lock(mErrorHandlerMutex);
  for (const auto& handler : mErrorHandlers) handler(error);
}

void CMeasurementSource::Sample(std::uint32_t run) {
  CMutexLock lock(mMeasurementMutex);
  if (!mIsSampling || run != mSamplingRun || !IsUsable()) return;
  for (std::size_t index = 0; index < kMeasureTypes; ++index) {
    if (!mIsEnabled[index]) continue;
    const auto type = static_cast<EMeasureType>(index);
    const ThreePhaseValue value = GetMeasurements(type);
    mHistory[index].Add(value);
    LOG_DEBUG("GetMeasurement ({}): [{}, {}, {}], MeasurementsSize: {}", ToText(type), value[0], value[1],
              value[2], mHistory[index].Size());
  }
}
