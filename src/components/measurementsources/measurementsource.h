#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/utility/mutex.h"
#include "platform/worker/worker.h"
#include "src/components/measurementsources/measurement.h"
#include "src/components/measurementsources/samplehistory.h"

/// What all measurement sources have in common: a worker that samples every registered quantity each period,
/// a bounded history for each, averages over it, and those who want to know of errors. A source supplies how
/// a quantity is read.
class CMeasurementSource : public IMeasurementSource {
 public:
  ThreePhaseValue GetMeasurementAverage(EMeasureType type, Milliseconds span) override;
  /// A getter that is empty throws std::bad_function_call; what a getter throws comes through.
  ThreePhaseValue GetMeasurements(EMeasureType type) override;
  void RegisterErrorHandler(ErrorHandler handler) override;
  /// Takes no lock.
  bool HasMeasurement(EMeasureType type) const override;
  void DumpLastReceivedData() override;

 protected:
  /// The name is the worker's, which runs from now on. Throws std::invalid_argument unless at least one
  /// period of more than 0 ms fits into the storage time.
  CMeasurementSource(IScheduler& scheduler, const std::string& name, Milliseconds period,
                     Milliseconds maximumStorage);
  /// Those who have posted calls to the worker must have stopped it.
  ~CMeasurementSource() override;

  // What follows may be called from any thread, getters of this source excepted.

  /// A getter of that type is replaced, and what it sampled is forgotten. Getters run one at a time on the
  /// worker, and on the thread of everybody who asks for a live reading.
  void RegisterMeasurement(EMeasureType type, MeasurementGetter getter);
  /// The same with its first sample, so that the quantity is never offered without one.
  void RegisterMeasurement(EMeasureType type, MeasurementGetter getter, const ThreePhaseValue& first);
  /// Ends offering the type; nothing is forgotten.
  void DeregisterMeasurement(EMeasureType type);
  /// Samples from now on; while sampling it does nothing.
  void Start();
  /// Ends sampling, offering and all history. No sample is stored any more when this returns.
  void Stop();
  /// Tells every handler, repeats too.
  void NotifyErrorHandlers(bool error);

  CWorker& Worker() { return mWorker; }

  /// Whether what was registered may be relied on at this moment: nothing is offered while it may not, and
  /// nothing is sampled. Any thread.
  virtual bool IsUsable() const { return true; }

 private:
  template <class TValue>
  using OfEachType = std::array<TValue, kMeasureTypes>;

  void Register(EMeasureType type, MeasurementGetter getter, const std::optional<ThreePhaseValue>& first);
  void Sample(std::uint32_t run);

  // Constant after construction.
  const Milliseconds mPeriod;
  const Milliseconds mMaximumStorage;
  const std::uint32_t mMaximumMeasurements;

  CMutex mMeasurementMutex;  // taken before mRegistrationMutex
  CMutex mErrorHandlerMutex;
  CMutex mRegistrationMutex;

  CWorker mWorker;
  CCallHandle mSampling GUARDED_BY(mMeasurementMutex);
  bool mIsSampling GUARDED_BY(mMeasurementMutex) = false;
  /// Another number each time that sampling begins: a run that waited for the mutex meanwhile is of no use.
  std::uint32_t mSamplingRun GUARDED_BY(mMeasurementMutex) = 0;
  OfEachType<CSampleHistory> mHistory GUARDED_BY(mMeasurementMutex);

  OfEachType<std::atomic<bool>> mIsEnabled{};
  /// Shared, so that a getter is called without its lock and without a copy.
  OfEachType<std::shared_ptr<const MeasurementGetter>> mGetters GUARDED_BY(mRegistrationMutex);

  std::vector<ErrorHandler> mErrorHandlers GUARDED_BY(mErrorHandlerMutex);
};
