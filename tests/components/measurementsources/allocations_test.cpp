#include "support/allocations.h"

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/worker/virtualscheduler.h"
#include "src/components/measurementsources/measurementsource.h"

namespace {

class CSource final : public CMeasurementSource {
 public:
  explicit CSource(IScheduler& scheduler)
      : CMeasurementSource(scheduler, "source", kSamplingPeriod, kStorageTime) {
    RegisterMeasurement(EMeasureType::Current, [] { return ThreePhaseValue{1, 2, 3}; });
    Start();
  }
  bool Init() override { return true; }
  void DeInit() override {}
};

TEST(MeasurementSourceAllocationsTest, NeitherAveragesNorLiveReadingsTakeMemory) {
  CLogCapture log(Log::ELogLevel::Warning);
  CVirtualScheduler scheduler;
  CSource source(scheduler);
  scheduler.RunFor(30 * kSamplingPeriod);
  const auto before = AllocationsOfThisThread();
  ASSERT_GT(before, 0U);
  source.GetMeasurementAverage(EMeasureType::Current, kStorageTime);
  source.GetMeasurements(EMeasureType::Current);
  EXPECT_EQ(AllocationsOfThisThread(), before);
}

}  // namespace
