#include "platform/worker/virtualscheduler.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "platform/worker/worker.h"

namespace {

using namespace std::chrono_literals;

class CVirtualSchedulerTest : public ::testing::Test {
 protected:
  CVirtualSchedulerTest() {
    mFirst.Start();
    mSecond.Start();
  }

  std::int64_t MsSinceStart() const {
    return std::chrono::duration_cast<Milliseconds>(mScheduler.Now() - mStart).count();
  }
  /// A call that writes a letter and the time into the trace.
  CWorker::Call Write(char letter) {
    return [this, letter] { mTrace += letter + std::to_string(MsSinceStart()) + ' '; };
  }

  CVirtualScheduler mScheduler;
  const TimePoint mStart = mScheduler.Now();
  std::string mTrace;
  CWorker mFirst{mScheduler, "first"};
  CWorker mSecond{mScheduler, "second"};
};

TEST_F(CVirtualSchedulerTest, CallsOfAllWorkersRunInOrderOfDueTimeThenOfPosting) {
  EXPECT_EQ(mStart.time_since_epoch(), 1h);
  const auto event = mScheduler.CreateEvent();
  const auto late = mFirst.AddCall(Write('a'), 2000ms);
  const auto periodic = mSecond.AddCall(Write('b'), 1000ms, 1000ms);
  const auto equal = mFirst.AddCall(Write('c'), 1000ms);
  mScheduler.RunFor(2500ms);
  EXPECT_EQ(mTrace, "b1000 c1000 a2000 b2000 ");
  EXPECT_EQ(MsSinceStart(), 2500);
  mScheduler.RunFor(499ms);
  mTrace.clear();
  const auto set = mFirst.AddCall([&] { event->Set(); }, 1001ms);
  event->Wait();
  event->Wait();
  EXPECT_EQ(mTrace, "b3000 b4000 ");
}

TEST_F(CVirtualSchedulerTest, LateCallRunsOnceAndStaysInStep) {
  int runs = 0;
  const auto periodic = mFirst.AddCall(
      [&] {
        Write('a')();
        if (++runs == 2) mScheduler.RunFor(250ms);  // this run takes that long
      },
      100ms, 100ms);
  const auto other = mSecond.AddCall(Write('b'), 310ms);
  mScheduler.RunFor(700ms);
  EXPECT_EQ(mTrace, "a100 a200 b310 a450 a500 a600 a700 ");
}

TEST_F(CVirtualSchedulerTest, WhatWouldHangThrows) {
  CWorker idle(mScheduler, "idle");
  EXPECT_THROW(idle.BlockingCall([] {}), std::logic_error);
  EXPECT_THROW(mScheduler.CreateEvent()->Wait(), std::logic_error);
  ::testing::FLAGS_gtest_death_test_style = "fast";
  EXPECT_DEATH(mFirst.BlockingCall([&] { mSecond.BlockingCall([&] { mFirst.BlockingCall([] {}); }); }),
               "two workers wait for each other");
}

}  // namespace
