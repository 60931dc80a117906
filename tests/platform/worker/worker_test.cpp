// What a worker promises on any scheduler. A blocking call serves as the barrier, so nothing here sleeps.
#include "platform/worker/worker.h"

#include <stdexcept>

#include <gtest/gtest.h>

#include "platform/worker/realscheduler.h"
#include "platform/worker/virtualscheduler.h"

namespace {

using namespace std::chrono_literals;

template <class TScheduler>
class CWorkerTest : public ::testing::Test {
 protected:
  /// A call that writes one letter into the trace.
  CWorker::Call Write(char letter) {
    return [this, letter] { mTrace += letter; };
  }

  TScheduler mScheduler;
  std::string mTrace;
  CWorker mWorker{mScheduler, "test"};
};

using Schedulers = ::testing::Types<CRealScheduler, CVirtualScheduler>;
TYPED_TEST_SUITE(CWorkerTest, Schedulers);

TYPED_TEST(CWorkerTest, CallsWaitForTheStartAndRunInOrderOfDueTimeThenOfPosting) {
  const auto never = this->mWorker.AddCall(this->Write('x'), Milliseconds::max(), Milliseconds::max());
  const auto first = this->mWorker.AddCall(this->Write('a'), -5ms);
  this->mWorker.NonBlockingCall(this->Write('b'));
  const auto second = this->mWorker.AddCall(this->Write('c'), 0ms);
  EXPECT_EQ(this->mTrace, "");
  this->mWorker.Start();
  this->mWorker.Start();
  EXPECT_TRUE(this->mWorker.BlockingCall(this->Write('d')));
  EXPECT_EQ(this->mTrace, "abcd");
}

TYPED_TEST(CWorkerTest, PeriodicCallCancelsItselfFromInside) {
  const auto ended = this->mScheduler.CreateEvent();
  CCallHandle handle;
  CCallHandle end;
  auto captured = std::make_shared<char>('a');
  const std::weak_ptr<char> alive = captured;
  handle = this->mWorker.AddCall(
      [&, captured] {
        if (this->mTrace == "aa") {
          handle.Cancel();
          handle.Cancel();
          end = this->mWorker.AddCall([&] { ended->Set(); }, 5ms);
        }
        this->mTrace += *captured;
      },
      1ms, 1ms);
  captured.reset();
  this->mWorker.Start();
  ended->Wait();
  EXPECT_EQ(this->mTrace, "aaa");
  EXPECT_TRUE(alive.expired());
}

TYPED_TEST(CWorkerTest, CallsMayBlockOnTheirOwnWorkerAndCancelWhatIsDueAlready) {
  CCallHandle cancelled;
  CCallHandle replaced;
  CCallHandle moved;
  this->mWorker.NonBlockingCall([&] {
    this->mWorker.NonBlockingCall(this->Write('c'));
    cancelled.Cancel();
    moved = std::move(replaced);
    moved = CCallHandle();
    EXPECT_TRUE(this->mWorker.BlockingCall(this->Write('a')));
  });
  cancelled = this->mWorker.AddCall(this->Write('x'), 0ms);
  replaced = this->mWorker.AddCall(this->Write('x'), 0ms);
  this->mWorker.NonBlockingCall(this->Write('b'));
  this->mWorker.Start();
  this->mWorker.BlockingCall([] {});
  this->mWorker.BlockingCall([] {});
  EXPECT_EQ(this->mTrace, "abc");
}

TYPED_TEST(CWorkerTest, StoppedWorkerRefusesAndMayBeStartedAgain) {
  CCallHandle outlived;
  {
    CWorker worker(this->mScheduler, "gone");
    auto dropped = std::make_shared<CCallHandle>(worker.AddCall(this->Write('x'), 0ms));
    worker.NonBlockingCall([dropped] {});  // uses the worker when it dies
    dropped.reset();
    outlived = worker.AddCall(this->Write('x'), 1h);
    worker.Stop();
    worker.Stop();
    EXPECT_FALSE(worker.NonBlockingCall(this->Write('x')));
    EXPECT_FALSE(worker.BlockingCall(this->Write('x')));
    const auto never = worker.AddCall(this->Write('x'), 0ms);
    worker.Start();
    EXPECT_TRUE(worker.BlockingCall(this->Write('a')));
  }
  outlived.Cancel();
  EXPECT_EQ(this->mTrace, "a");
}

TYPED_TEST(CWorkerTest, StopFromInsideMakesTheCallTheLast) {
  this->mWorker.NonBlockingCall([&] {
    this->mTrace += 'a';
    this->mWorker.Stop();
    EXPECT_FALSE(this->mWorker.BlockingCall(this->Write('x')));
  });
  this->mWorker.NonBlockingCall(this->Write('x'));
  this->mWorker.Start();
  this->mWorker.BlockingCall(this->Write('x'));
  EXPECT_EQ(this->mTrace, "a");
}

TYPED_TEST(CWorkerTest, ThrowingCallEndsTheProcess) {
  ::testing::FLAGS_gtest_death_test_style = "fast";
  const auto die = [this] {
    this->mWorker.Start();
    try {
      this->mWorker.BlockingCall([] { throw std::runtime_error("meter exploded"); });
    } catch (...) {
    }
  };
  EXPECT_DEATH(die(), "meter exploded");
}

}  // namespace
