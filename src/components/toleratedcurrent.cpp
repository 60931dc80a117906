#include "src/components/toleratedcurrent.h"

#include <chrono>
#include <utility>

CToleratedCurrent::CToleratedCurrent(IScheduler& scheduler, std::function<void(std::uint32_t)> changed)
    : mClock(scheduler), mChanged(std::move(changed)), mWorker(scheduler, "ToleratedCurr") {
  mWorker.Start();
}

CToleratedCurrent::~CToleratedCurrent() = default;

void CToleratedCurrent::SetSetpoint(std::uint32_t milliAmpere) {
  mWorker.NonBlockingCall([this, milliAmpere, now = mClock.Now()] {
    mSetpoints.Set(milliAmpere, now);
    Tell();
  });
}

void CToleratedCurrent::Tell() {
  mNextFall.Cancel();
  const std::uint32_t largest = mSetpoints.Largest(mClock.Now());
  if (const auto fall = mSetpoints.NextFall())
    mNextFall = mWorker.AddCall([this] { Tell(); }, std::chrono::ceil<Milliseconds>(*fall - mClock.Now()));
  mChanged(largest);
}
