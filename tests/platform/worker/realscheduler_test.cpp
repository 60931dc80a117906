#include "platform/worker/realscheduler.h"

#include <array>
#include <atomic>
#include <latch>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/prctl.h>

#include "platform/log/logcapture.h"
#include "platform/worker/worker.h"

namespace {

using namespace std::chrono_literals;

class CRealSchedulerTest : public ::testing::Test {
 protected:
  /// A call that says that it has begun, takes its time and notes its end.
  CWorker::Call SlowCall() {
    return [this] {
      mBegun->Set();
      std::this_thread::sleep_for(10ms);
      mEnded = true;
    };
  }

  CRealScheduler mScheduler;
  std::unique_ptr<IEvent> mBegun = mScheduler.CreateEvent();
  bool mEnded = false;  // unguarded: the thread sanitizer checks that the waits below order it
  CWorker mWorker{mScheduler, "a name longer than it can be"};
};

TEST_F(CRealSchedulerTest, CancelWaitsForTheRun) {
  mWorker.Start();
  auto handle = mWorker.AddCall(SlowCall(), 0ms, 1h);
  mBegun->Wait();
  handle.Cancel();
  EXPECT_TRUE(mEnded);
}

// The run goes on until whoever is blocked came free, and `Stop` returns after the run.
TEST_F(CRealSchedulerTest, StopFreesWhoIsBlockedAndWaitsForTheRun) {
  std::latch mayEnd(1);
  mWorker.NonBlockingCall([&, slow = SlowCall()] {
    mBegun->Set();
    mayEnd.wait();
    slow();
  });
  mWorker.Start();
  mBegun->Wait();
  CWorker idle(mScheduler, "idle");
  const auto block = [&](CWorker& worker) {
    EXPECT_FALSE(worker.BlockingCall([] { FAIL() << "it was stopped before"; }));
    if (&worker == &mWorker) mayEnd.count_down();
  };
  std::thread blocked(block, std::ref(mWorker));
  std::thread blockedOnIdle(block, std::ref(idle));
  std::this_thread::sleep_for(2ms);  // so that both are most likely blocked; right in any case
  mWorker.Stop();
  EXPECT_TRUE(mEnded);
  idle.Stop();
  blocked.join();
  blockedOnIdle.join();
}

TEST_F(CRealSchedulerTest, EarlierCallOvertakesAndNoneRunsBeforeItsTime) {
  mWorker.Start();
  const auto far = mWorker.AddCall([] { FAIL() << "an hour early"; }, 1h);
  const TimePoint due = mScheduler.Now() + 3ms;
  const auto near = mWorker.AddCall([&] { mBegun->Set(); }, 3ms);
  mBegun->Wait();
  EXPECT_GE(mScheduler.Now(), due);
}

TEST_F(CRealSchedulerTest, ThreadHasTheWorkersNameAndTheCaptureOfItsStarter) {
  CLogCapture capture;
  mWorker.Start();
  std::array<char, 16> name{};
  mWorker.BlockingCall([&] {
    prctl(PR_GET_NAME, name.data());
    LOG_INFO("on the worker");
  });
  EXPECT_STREQ(name.data(), "a name longer t");
  EXPECT_EQ(capture.Count("on the worker"), 1);
}

TEST_F(CRealSchedulerTest, ManyThreadsOnAWorkerThatComesAndGoesAllReturnAndCountRight) {
  constexpr int kThreads = 4;
  constexpr int kTurns = 250;
  int runs = 0;  // unguarded: only the worker and, after it, this thread touch it
  std::atomic<int> ran = 0;
  const auto hammer = [&] {
    for (int turn = 0; turn < kTurns; ++turn) {
      if (mWorker.BlockingCall([&] { ++runs; })) ++ran;
      mWorker.NonBlockingCall([] {});
      auto handle = mWorker.AddCall([] {}, 0ms, 1ms);
    }
  };
  std::vector<std::thread> threads;
  for (int count = 0; count < kThreads; ++count) threads.emplace_back(hammer);
  for (int turn = 0; turn < kTurns; ++turn) {
    mWorker.Start();
    mWorker.BlockingCall([&] { ++runs; });
    ++ran;
    mWorker.Stop();
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(runs, ran);
}

}  // namespace
