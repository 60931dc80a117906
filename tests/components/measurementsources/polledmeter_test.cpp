#include "src/components/measurementsources/polledmeter.h"

#include <functional>
#include <future>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "platform/log/logcapture.h"
#include "platform/worker/realscheduler.h"
#include "platform/worker/virtualscheduler.h"

namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

class CScriptedMeter final : public CPolledMeter {
 public:
  explicit CScriptedMeter(CVirtualScheduler& scheduler, Milliseconds silence = Milliseconds{5000})
      : CPolledMeter(scheduler, "Scripted", "The meter", SPeriods{.silence = silence}),
        mScheduler(scheduler) {}
  ~CScriptedMeter() override { CScriptedMeter::DeInit(); }

  std::string mFault;
  Answer mAnswer = "refused";
  std::vector<std::int64_t> mPolls;  // ms since the first
  int mDisconnects = 0;

 private:
  std::string Prepare() override { return mFault; }
  Answer Poll() override {
    if (mPolls.empty()) mBegin = mScheduler.Now();
    mPolls.push_back(std::chrono::duration_cast<Milliseconds>(mScheduler.Now() - mBegin).count());
    return mAnswer;
  }
  void Disconnect() override { ++mDisconnects; }

  CVirtualScheduler& mScheduler;
  TimePoint mBegin;
};

class CPolledMeterTest : public ::testing::Test {
 protected:
  CPolledMeterTest() {
    mMeter.RegisterErrorHandler([this](bool error) { mErrors.push_back(error); });
  }

  CVirtualScheduler mScheduler;
  CLogCapture mLog{Log::ELogLevel::Info};
  std::vector<bool> mErrors;
  CScriptedMeter mMeter{mScheduler};
};

TEST_F(CPolledMeterTest, IsAskedLessAndLessWhileItIsDownAndTellsThatOnce) {
  EXPECT_TRUE(mMeter.Init());
  mScheduler.RunFor(Milliseconds{5249});
  EXPECT_THAT(mErrors, ElementsAre());
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Error), ElementsAre());
  mScheduler.RunFor(Milliseconds{600000 - 5249});
  EXPECT_THAT(std::vector(mMeter.mPolls.begin(), mMeter.mPolls.begin() + 9),
              ElementsAre(0, 1250, 3750, 8750, 18750, 38750, 68750, 98750, 128750));
  EXPECT_THAT(mMeter.mPolls, SizeIs(24));
  EXPECT_THAT(mErrors, ElementsAre(true));
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Error), ElementsAre("The meter cannot be read: refused"));

  // Another cause is news once; so is the end of it, and the next error is a new one.
  for (const auto* reason : {"timed out", "refused", "timed out"}) {
    mMeter.mAnswer = reason;
    mScheduler.RunFor(Milliseconds{60000});
  }
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Error),
              ElementsAre("The meter cannot be read: refused", "The meter cannot be read: timed out"));
  mMeter.mAnswer = SMeterReading{.current = {{1000, 2000, -3000}}, .voltage = {}, .activePower = {}};
  mScheduler.RunFor(Milliseconds{30000});
  mMeter.mAnswer = "refused";
  mScheduler.RunFor(Milliseconds{10000});
  EXPECT_THAT(mErrors, ElementsAre(true, false, true));
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Info),
              ElementsAre("The meter measures Current", "The meter can be read again"));
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Error), SizeIs(3));
}

TEST_F(CPolledMeterTest, OffersWhatItsReadingsCarryAndNothingWhileInError) {
  mMeter.mAnswer =
      SMeterReading{.current = {{1000, 2000, -3000}}, .voltage = {}, .activePower = {{700, 0, 0}}};
  mMeter.Init();
  EXPECT_FALSE(mMeter.HasMeasurement(EMeasureType::Current));
  mScheduler.RunFor(Milliseconds{0});
  mMeter.mAnswer = SMeterReading{.current = {{3000, 0, 0}}, .voltage = {{230, 231, 232}}, .activePower = {}};
  mScheduler.RunFor(Milliseconds{1250});
  EXPECT_THAT(mMeter.GetMeasurementAverage(EMeasureType::Current, Milliseconds{2500}),
              ElementsAre(2000, 1000, -1500));
  EXPECT_THAT(mMeter.GetMeasurements(EMeasureType::Voltage), ElementsAre(230, 231, 232));
  EXPECT_FALSE(mMeter.HasMeasurement(EMeasureType::ActivePower));
  // A short failure passes unnoticed: the newest reading holds.
  mMeter.mAnswer = "busy";
  mScheduler.RunFor(Milliseconds{5000});
  EXPECT_THAT(mMeter.GetMeasurementAverage(EMeasureType::Current, Milliseconds{1250}),
              ElementsAre(3000, 0, 0));
  mScheduler.RunFor(Milliseconds{1250});
  EXPECT_FALSE(mMeter.HasMeasurement(EMeasureType::Current));
  // What was sampled before the error does not count afterwards.
  mMeter.mAnswer = SMeterReading{.current = {{9000, 0, 0}}, .voltage = {}, .activePower = {}};
  mScheduler.RunFor(Milliseconds{30000});
  EXPECT_THAT(mMeter.GetMeasurementAverage(EMeasureType::Current, Milliseconds{30000}),
              ElementsAre(9000, 0, 0));
}

/// Long before it is in error.
TEST_F(CPolledMeterTest, OffersNoReadingThatIsTooOldForTheMetersPace) {
  const SMeterReading reading{.current = {{1000, 0, 0}}, .voltage = {}, .activePower = {}};
  CScriptedMeter meter(mScheduler, Milliseconds{60000});
  meter.RegisterErrorHandler([this](bool error) { mErrors.push_back(error); });
  meter.mAnswer = reading;
  meter.Init();
  mScheduler.RunFor(Milliseconds{1250});
  meter.mAnswer = "busy";
  mScheduler.RunFor(Milliseconds{5000});
  EXPECT_TRUE(meter.HasMeasurement(EMeasureType::Current));
  mScheduler.RunFor(Milliseconds{1250});
  EXPECT_FALSE(meter.HasMeasurement(EMeasureType::Current));
  // Asked again at 11250 ms, and then, after three more failures, at 21250 ms. One long interval may be an
  // outage, two are the meter's pace.
  const auto readOnceMore = [&](Milliseconds after) {
    mScheduler.RunFor(after - Milliseconds{250});
    meter.mAnswer = reading;
    mScheduler.RunFor(Milliseconds{250});
    meter.mAnswer = "busy";
    EXPECT_TRUE(meter.HasMeasurement(EMeasureType::Current));
  };
  readOnceMore(Milliseconds{3750});
  mScheduler.RunFor(Milliseconds{5250});
  EXPECT_FALSE(meter.HasMeasurement(EMeasureType::Current));
  readOnceMore(Milliseconds{4750});
  mScheduler.RunFor(Milliseconds{30000});
  EXPECT_TRUE(meter.HasMeasurement(EMeasureType::Current));
  mScheduler.RunFor(Milliseconds{250});
  EXPECT_FALSE(meter.HasMeasurement(EMeasureType::Current));
  EXPECT_THAT(mErrors, ElementsAre());
  EXPECT_EQ(mLog.Count("The meter is not heard: its newest reading is too old to be used"), 3);
  EXPECT_EQ(mLog.Count("The meter is heard again"), 2);
}

/// However long it takes to ask the meter, and whatever is answered at the very end.
TEST_F(CPolledMeterTest, OffersNothingOldWhileItIsAskedNorAnythingAfterDeInit) {
  const SMeterReading reading{.current = {{25000, 0, 0}}, .voltage = {}, .activePower = {}};
  CRealScheduler scheduler;
  std::promise<void> isAsked;
  std::promise<void> mayAnswer;
  class CSlowMeter final : public CPolledMeter {
   public:
    CSlowMeter(IScheduler& real, std::function<Answer()> poll)
        : CPolledMeter(
              real, "Slow", "The meter",
              {.sampling = Milliseconds{10}, .storage = Milliseconds{100}, .silence = Milliseconds{50}}),
          mPoll(std::move(poll)) {}
    ~CSlowMeter() override { CSlowMeter::DeInit(); }

   private:
    std::string Prepare() override { return {}; }
    Answer Poll() override { return mPoll(); }
    void Disconnect() override {}
    const std::function<Answer()> mPoll;
  };
  int polls = 0;
  CSlowMeter meter(scheduler, [&]() -> std::variant<SMeterReading, std::string> {
    if (++polls == 2) {
      isAsked.set_value();
      mayAnswer.get_future().wait();
    }
    return reading;
  });
  meter.Init();
  isAsked.get_future().wait();
  while (meter.HasMeasurement(EMeasureType::Current)) std::this_thread::yield();
  // Who measures with it waits for nothing meanwhile.
  EXPECT_THAT(meter.GetMeasurements(EMeasureType::Current), ElementsAre(0, 0, 0));
  EXPECT_THAT(meter.GetMeasurementAverage(EMeasureType::Current, kSamplingPeriod), ElementsAre(0, 0, 0));
  std::thread answering([&] { mayAnswer.set_value(); });
  meter.DeInit();
  answering.join();
  EXPECT_FALSE(meter.HasMeasurement(EMeasureType::Current));
}

TEST_F(CPolledMeterTest, IsInErrorAtOnceWhenItCannotBeUsedAtAllUntilItIsInitializedAnew) {
  mMeter.mFault = "\"address\" is missing";
  EXPECT_FALSE(mMeter.Init());
  mScheduler.RunFor(Milliseconds{60000});
  EXPECT_THAT(mMeter.mPolls, SizeIs(0));
  EXPECT_THAT(mErrors, ElementsAre(true));
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Error),
              ElementsAre("The meter cannot be read: \"address\" is missing"));
  mMeter.DeInit();
  EXPECT_EQ(mMeter.mDisconnects, 1);
  mMeter.mFault.clear();
  mMeter.mAnswer = SMeterReading{};
  EXPECT_TRUE(mMeter.Init());
  mScheduler.RunFor(Milliseconds{2500});
  EXPECT_THAT(mMeter.mPolls, SizeIs(3));
  EXPECT_THAT(mErrors, ElementsAre(true, false));
}

}  // namespace
