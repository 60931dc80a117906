#include "src/components/toleratedcurrent.h"

#include <chrono>
#include <utility>

CToleratedCurrent::CToleratedCurrent(IScheduler& scheduler, std::function<void(std::uint32_t)> changed)
    : mClock(scheduler), mChanged(std::move(changed)), mWorker(scheduler, "ToleratedCurr") {
  mWorker.Start();
}

CToleratedCurrent::~CToleratedCurrent() = default;

void CToleratedCurrent::SetSetpoint(std::uint32_t milliAmpere) {
  mWorker.NonBlockingCall([this, milliAmpere, now = mClock.Now()] { Replace(milliAmpere, now); });
}

void CToleratedCurrent::Replace(std::uint32_t milliAmpere, TimePoint now) {
  mReplaced.push_back({mPresent, now + kTimeToFollow});
  mPresent = milliAmpere;
  while (!mReplaced.empty() && mReplaced.back().milliAmpere <= mPresent) mReplaced.pop_back();
  Forget(mClock.Now());
  AwaitNextFall();
  Tell();
}

void CToleratedCurrent::Forget(TimePoint now) {
  while (!mReplaced.empty() && mReplaced.front().until <= now) mReplaced.pop_front();
}

void CToleratedCurrent::AwaitNextFall() {
  mNextFall.Cancel();
  if (mReplaced.empty()) return;
  const auto left = std::chrono::ceil<Milliseconds>(mReplaced.front().until - mClock.Now());
  mNextFall = mWorker.AddCall(
      [this] {
        Forget(mClock.Now());
        AwaitNextFall();
        Tell();
      },
      left);
}

void CToleratedCurrent::Tell() const {
  mChanged(mReplaced.empty() ? mPresent : mReplaced.front().milliAmpere);
}
