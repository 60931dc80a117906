#include "platform/worker/worker.h"

#include <algorithm>
#include <utility>

namespace {

/// Adding this much to the time of any running system stays far inside the clock's range.
constexpr Milliseconds kLongest = std::chrono::hours(24 * 365 * 100);

Milliseconds WithinClock(Milliseconds span) {
  return std::clamp(span, Milliseconds{0}, kLongest);
}

}  // namespace

CCallHandle& CCallHandle::operator=(CCallHandle&& other) noexcept {
  if (this != &other) {
    Cancel();
    mLine = std::move(other.mLine);
    mId = other.mId;
  }
  return *this;
}

void CCallHandle::Cancel() {
  if (const auto line = std::exchange(mLine, {}).lock()) line->Cancel(mId);
}

CWorker::CWorker(IScheduler& scheduler, const std::string& name) : mLine(scheduler.CreateCallLine(name)) {}

CWorker::~CWorker() {
  Stop();
}

void CWorker::Start() {
  mLine->Start();
}

void CWorker::Stop() {
  mLine->Stop();
}

CCallHandle CWorker::AddCall(Call call, Milliseconds firstDue, Milliseconds period) {
  return {mLine, mLine->Add(std::move(call), WithinClock(firstDue), WithinClock(period))};
}

bool CWorker::NonBlockingCall(Call call) {
  return mLine->Post(std::move(call));
}

bool CWorker::BlockingCall(const Call& call) {
  return mLine->RunAndWait(call);
}
