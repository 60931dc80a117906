#include "src/components/measurementsources/measurementsource.h"

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/worker/virtualscheduler.h"

namespace {

using enum EMeasureType;
using ::testing::ElementsAre;

constexpr ThreePhaseValue kZeros{0, 0, 0};

class CSource final : public CMeasurementSource {
 public:
  explicit CSource(IScheduler& scheduler, Milliseconds period = kSamplingPeriod)
      : CMeasurementSource(scheduler, "source", period, kStorageTime) {}
  bool Init() override { return true; }
  void DeInit() override {}
  using CMeasurementSource::DeregisterMeasurement;
  using CMeasurementSource::RegisterMeasurement;
  using CMeasurementSource::Start;
  using CMeasurementSource::Stop;
  using CMeasurementSource::Worker;
};

class CMeasurementSourceTest : public ::testing::Test {
 protected:
  /// Samples -1, -2, ... on L1, 10, 11, ... on L2 and the largest number on L3.
  void RegisterCounter(EMeasureType type = Current) {
    mSource.RegisterMeasurement(type, [this] {
      ++mReadings;
      return ThreePhaseValue{-mReadings, 9 + mReadings, std::numeric_limits<std::int32_t>::max()};
    });
  }
  void Sample(int samples) { mScheduler.RunFor(kSamplingPeriod * samples); }
  ThreePhaseValue Average(std::int64_t span, EMeasureType type = Current) {
    return mSource.GetMeasurementAverage(type, Milliseconds{span});
  }

  CVirtualScheduler mScheduler;
  CSource mSource{mScheduler};
  std::int32_t mReadings = 0;
};

TEST_F(CMeasurementSourceTest, AveragesTheNewestSamplesAndKeepsTwentyFour) {
  CLogCapture log(Log::ELogLevel::Debug);
  RegisterCounter();
  EXPECT_EQ(Average(30000), kZeros);
  mSource.Start();
  mSource.Start();
  mScheduler.RunDue();
  EXPECT_EQ(Average(1249), kZeros);
  EXPECT_THAT(Average(1250), ElementsAre(-1, 10, 2147483647));
  EXPECT_THAT(log.Texts(Log::ELogLevel::Debug),
              ElementsAre("Starting measurements. Period: 1250 ms, Maximum storage: 30000 ms Maximum "
                          "measurements: 24",
                          "GetMeasurement (Current): [-1, 10, 2147483647], MeasurementsSize: 1",
                          "GetMeasurementAverage(1250 ms) returns 1 measurements which average "
                          "[-1, 10, 2147483647]"));
  Sample(1);
  EXPECT_THAT(Average(60000), ElementsAre(-1, 10, 2147483647));  // -1.5 and 10.5 without their fractions
  Sample(1);
  EXPECT_THAT(Average(2500), ElementsAre(-2, 11, 2147483647));
  Sample(23);
  EXPECT_THAT(Average(60000), ElementsAre(-14, 23, 2147483647));  // 3 to 26
}

TEST_F(CMeasurementSourceTest, OffersWhatIsRegisteredAndNothingElse) {
  const auto unknown = static_cast<EMeasureType>(3);
  for (const auto type : {Current, ActivePower, Voltage, unknown}) {
    EXPECT_FALSE(mSource.HasMeasurement(type));
    EXPECT_EQ(mSource.GetMeasurements(type), kZeros);
    EXPECT_EQ(Average(30000, type), kZeros);
    mSource.DeregisterMeasurement(type);
  }
  mSource.RegisterMeasurement(unknown, [] { return ThreePhaseValue{1, 1, 1}; });
  EXPECT_FALSE(mSource.HasMeasurement(unknown));

  RegisterCounter(Voltage);
  mSource.Start();
  Sample(2);
  EXPECT_THAT(mSource.GetMeasurements(Voltage), ElementsAre(-4, 13, 2147483647));
  EXPECT_THAT(Average(1250, Voltage), ElementsAre(-3, 12, 2147483647));

  mSource.DeregisterMeasurement(Voltage);
  Sample(2);
  EXPECT_EQ(mReadings, 4);
  EXPECT_FALSE(mSource.HasMeasurement(Voltage));
  RegisterCounter(Voltage);
  EXPECT_EQ(Average(30000, Voltage), kZeros);  // what was there before is gone
  mSource.RegisterMeasurement(Current, [] { return ThreePhaseValue{1, 1, 1}; }, {7, 8, 9});
  EXPECT_THAT(Average(1250), ElementsAre(7, 8, 9)) << "it is never offered without a sample";
}

TEST_F(CMeasurementSourceTest, StopsFromAnywhereAndStartsAnew) {
  RegisterCounter();
  mSource.Start();
  Sample(5);
  mSource.Worker().NonBlockingCall([this] { mSource.Stop(); });
  Sample(5);
  mSource.Stop();
  EXPECT_EQ(mReadings, 6);
  EXPECT_FALSE(mSource.HasMeasurement(Current));
  EXPECT_EQ(Average(30000), kZeros);
  mSource.Start();
  Sample(1);
  EXPECT_EQ(mReadings, 6);  // nothing is registered
  RegisterCounter();
  Sample(1);
  EXPECT_THAT(Average(30000), ElementsAre(-7, 16, 2147483647));
}

TEST_F(CMeasurementSourceTest, RefusesPeriodsThatKeepNoSample) {
  EXPECT_THROW(CSource(mScheduler, Milliseconds{0}), std::invalid_argument);
  EXPECT_THROW(CSource(mScheduler, Milliseconds{30001}), std::invalid_argument);
}

}  // namespace
