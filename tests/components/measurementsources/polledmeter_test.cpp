#include "src/components/measurementsources/polledmeter.h"

#include <functional>
#include <future>
#include <thread>

#include "components/measurementsources/meteredhouse.h"
#include "platform/worker/realscheduler.h"

namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;
using enum EMeasureType;

class CScriptedMeter final : public CPolledMeter {
 public:
  explicit CScriptedMeter(CVirtualScheduler& scheduler, Milliseconds silence = Milliseconds{5000})
      : CPolledMeter(scheduler, "Scripted", "The meter", SPeriods{.silence = silence}),
        mScheduler(scheduler) {}
  ~CScriptedMeter() override { CScriptedMeter::DeInit(); }

  using CPolledMeter::Answer;
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

SMeterReading Reading(std::int32_t one, std::int32_t two = 0, std::int32_t three = 0) {
  return {.current = {{one, two, three}}, .voltage = {}, .activePower = {}};
}

class CPolledMeterTest : public ::testing::Test, protected SMeteredHouse {
 protected:
  CPolledMeterTest() { Follow(mMeter); }
  void Run(std::int64_t ms) { scheduler.RunFor(Milliseconds{ms}); }
  /// What is said from here on, when the meter answers so.
  std::string Told(const CScriptedMeter::Answer& answer, std::int64_t ms) {
    mMeter.mAnswer = answer;
    return SMeteredHouse::Told(Milliseconds{ms});
  }
  ThreePhaseValue Average(std::int64_t span) {
    return mMeter.GetMeasurementAverage(Current, Milliseconds{span});
  }

  CScriptedMeter mMeter{scheduler};
};

TEST_F(CPolledMeterTest, IsAskedLessAndLessWhileItIsDownAndTellsThatOnce) {
  EXPECT_TRUE(mMeter.Init());
  EXPECT_EQ(Told("refused", 5249), "");
  EXPECT_EQ(Told("refused", 600000 - 5249), "in error; The meter cannot be read: refused");
  EXPECT_THAT(std::vector(mMeter.mPolls.begin(), mMeter.mPolls.begin() + 9),
              ElementsAre(0, 1250, 3750, 8750, 18750, 38750, 68750, 98750, 128750));
  EXPECT_THAT(mMeter.mPolls, SizeIs(24));

  // Another cause is news once; so is the end of it, and the next error is a new one.
  EXPECT_EQ(Told("timed out", 60000), "The meter cannot be read: timed out");
  for (const auto* reason : {"refused", "timed out"}) EXPECT_EQ(Told(reason, 60000), "");
  EXPECT_EQ(Told(Reading(1000), 30000), "good; The meter measures Current; The meter can be read again");
  EXPECT_EQ(Told("refused", 10000), "in error; The meter cannot be read: refused");
}

TEST_F(CPolledMeterTest, OffersWhatItsReadingsCarryAndNothingWhileInError) {
  mMeter.mAnswer =
      SMeterReading{.current = {{1000, 2000, -3000}}, .voltage = {}, .activePower = {{700, 0, 0}}};
  mMeter.Init();
  EXPECT_FALSE(mMeter.HasMeasurement(Current));
  Run(0);
  mMeter.mAnswer = SMeterReading{.current = {{3000, 0, 0}}, .voltage = {{230, 231, 232}}, .activePower = {}};
  Run(1250);
  EXPECT_THAT(Average(2500), ElementsAre(2000, 1000, -1500));
  EXPECT_THAT(mMeter.GetMeasurements(Voltage), ElementsAre(230, 231, 232));
  EXPECT_FALSE(mMeter.HasMeasurement(ActivePower));
  // A short failure passes unnoticed: the newest reading holds.
  mMeter.mAnswer = "busy";
  Run(5000);
  EXPECT_THAT(Average(1250), ElementsAre(3000, 0, 0));
  Run(1250);
  EXPECT_FALSE(mMeter.HasMeasurement(Current));
  // What was sampled before the error does not count afterwards.
  mMeter.mAnswer = Reading(9000);
  Run(30000);
  EXPECT_THAT(Average(30000), ElementsAre(9000, 0, 0));
}

/// Long before it is in error.
TEST_F(CPolledMeterTest, OffersNoReadingThatIsTooOldForTheMetersPace) {
  CScriptedMeter slow(scheduler, Milliseconds{60000});
  const auto isOfferedAfter = [&](std::int64_t ms) {
    Run(ms);
    return slow.HasMeasurement(Current);
  };
  const auto readOnceMore = [&](std::int64_t after) {
    Run(after - 250);
    slow.mAnswer = Reading(1000);
    EXPECT_TRUE(isOfferedAfter(250));
    slow.mAnswer = "busy";
  };
  slow.mAnswer = Reading(1000);
  slow.Init();
  readOnceMore(1250);
  EXPECT_TRUE(isOfferedAfter(5000));
  EXPECT_FALSE(isOfferedAfter(1250));
  // Asked again at 11250 ms, and then, after three more failures, at 21250 ms. One long interval may be an
  // outage, two are the meter's pace.
  readOnceMore(3750);
  EXPECT_FALSE(isOfferedAfter(5250));
  readOnceMore(4750);
  EXPECT_TRUE(isOfferedAfter(30000));
  EXPECT_FALSE(isOfferedAfter(250));
  EXPECT_EQ(log.Count("The meter is not heard: its newest reading is too old to be used"), 3);
  EXPECT_EQ(log.Count("The meter is heard again"), 2);
}

/// However long it takes to ask the meter, and whatever is answered at the very end.
TEST_F(CPolledMeterTest, OffersNothingOldWhileItIsAskedNorAnythingAfterDeInit) {
  CRealScheduler realTime;
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
  CSlowMeter slow(realTime, [&]() -> std::variant<SMeterReading, std::string> {
    if (++polls == 2) {
      isAsked.set_value();
      mayAnswer.get_future().wait();
    }
    return Reading(25000);
  });
  slow.Init();
  isAsked.get_future().wait();
  while (slow.HasMeasurement(Current)) std::this_thread::yield();
  // Who measures with it waits for nothing meanwhile.
  EXPECT_THAT(slow.GetMeasurements(Current), ElementsAre(0, 0, 0));
  EXPECT_THAT(slow.GetMeasurementAverage(Current, kSamplingPeriod), ElementsAre(0, 0, 0));
  std::thread answering([&] { mayAnswer.set_value(); });
  slow.DeInit();
  answering.join();
  EXPECT_FALSE(slow.HasMeasurement(Current));
}

TEST_F(CPolledMeterTest, IsInErrorAtOnceWhenItCannotBeUsedAtAllUntilItIsInitializedAnew) {
  mMeter.mFault = "\"address\" is missing";
  EXPECT_FALSE(mMeter.Init());
  EXPECT_EQ(Told({}, 60000), "in error; The meter cannot be read: \"address\" is missing");
  EXPECT_THAT(mMeter.mPolls, SizeIs(0));
  mMeter.DeInit();
  EXPECT_EQ(mMeter.mDisconnects, 1);
  mMeter.mFault.clear();
  EXPECT_TRUE(mMeter.Init());
  EXPECT_THAT(Told(SMeterReading{}, 2500), testing::StartsWith("good; "));
  EXPECT_THAT(mMeter.mPolls, SizeIs(3));
}

}  // namespace
