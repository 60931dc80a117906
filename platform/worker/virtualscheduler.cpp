#include "platform/worker/virtualscheduler.h"

#include <algorithm>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/worker/callqueue.h"

/// The time, and the lines that have something to run, by the place of their next call.
class CVirtualScheduler::CState {
 public:
  class CLine;
  class CEvent;

  /// Runs the first of all calls that are due by the end; false when there is none.
  bool RunNext(TimePoint end);

  TimePoint now{std::chrono::hours(1)};
  ICallLine::CallId lastId = 0;
  using Ready = std::map<CCallQueue::Place, CLine*>;
  Ready ready;
  const CLine* innermost = nullptr;  // of the lines whose calls are running
};

class CVirtualScheduler::CState::CLine final : public ICallLine {
 public:
  explicit CLine(std::shared_ptr<CState> state) : mState(std::move(state)) {}
  ~CLine() override { Stop(); }

  void Start() override {
    mPhase = EPhase::Started;
    Reschedule();
  }

  void Stop() override {
    mPhase = EPhase::Stopped;
    const auto dropped = mQueue.Clear();
    Reschedule();
  }

  CallId Add(Call call, Milliseconds firstDue, Milliseconds period) override {
    if (mPhase == EPhase::Stopped) return 0;
    mQueue.Add(++mState->lastId, std::move(call), mState->now + firstDue, period);
    const CallId id = mState->lastId;
    Reschedule();
    return id;
  }

  void Cancel(CallId id) override {
    const auto dropped = mQueue.Cancel(id);
    Reschedule();
  }

  bool Post(Call call) override { return Add(std::move(call), Milliseconds{0}, kOnce) != 0; }

  bool RunAndWait(const Call& call) override;

  /// Its first call must be due.
  void RunFirst() noexcept;

 private:
  enum class EPhase { Idle, Started, Stopped };

  void Reschedule();

  const std::shared_ptr<CState> mState;
  CCallQueue mQueue;
  EPhase mPhase = EPhase::Idle;
  bool mInRun = false;
  std::optional<Ready::iterator> mReady;  // where it stands in `ready`
  Ready::node_type mUnready;              // kept while it stands nowhere there, to be put back
};

class CVirtualScheduler::CState::CEvent final : public IEvent {
 public:
  explicit CEvent(std::shared_ptr<CState> state) : mState(std::move(state)) {}

  void Set() override { mIsSet = true; }

  void Wait() override {
    while (!mIsSet) {
      if (!mState->RunNext(TimePoint::max())) {
        throw std::logic_error("virtual time: waiting for an event that no call is left to set");
      }
    }
  }

 private:
  const std::shared_ptr<CState> mState;
  bool mIsSet = false;
};

bool CVirtualScheduler::CState::RunNext(TimePoint end) {
  if (ready.empty()) return false;
  const auto [place, line] = *ready.begin();
  if (place.first > end) return false;
  now = std::max(now, place.first);
  line->RunFirst();
  return true;
}

bool CVirtualScheduler::CState::CLine::RunAndWait(const Call& call) {
  if (mPhase == EPhase::Stopped) return false;
  if (mState->innermost == this) {
    call();
    return true;
  }
  if (mPhase == EPhase::Idle) {
    throw std::logic_error(
        "virtual time: a blocking call on a worker that is not started would wait forever");
  }
  if (mInRun) throw std::logic_error("virtual time: two workers wait for each other in blocking calls");
  bool hasRun = false;
  const auto id = Add(
      [&call, &hasRun] {
        call();
        hasRun = true;
      },
      Milliseconds{0}, kOnce);
  while (mQueue.Has(id)) RunFirst();
  return hasRun;
}

void CVirtualScheduler::CState::CLine::RunFirst() noexcept {
  const auto outer = std::exchange(mState->innermost, this);
  mInRun = true;
  const auto run = mQueue.BeginRun(mState->now);
  Reschedule();
  (*run.call)();
  mQueue.EndRun();
  mState->innermost = outer;
  mInRun = false;
  Reschedule();
}

void CVirtualScheduler::CState::CLine::Reschedule() {
  const CCallQueue::Place* const place = mPhase == EPhase::Started && !mInRun ? mQueue.First() : nullptr;
  if (mReady && place != nullptr && (*mReady)->first == *place) return;
  if (mReady) mUnready = mState->ready.extract(*mReady);
  mReady.reset();
  if (place == nullptr) return;
  if (mUnready.empty()) {
    mReady = mState->ready.emplace(*place, this).first;
  } else {
    mUnready.key() = *place;
    mReady = mState->ready.insert(std::move(mUnready)).position;
  }
}

CVirtualScheduler::CVirtualScheduler() : mState(std::make_shared<CState>()) {}

CVirtualScheduler::~CVirtualScheduler() = default;

TimePoint CVirtualScheduler::Now() const {
  return mState->now;
}

std::unique_ptr<ICallLine> CVirtualScheduler::CreateCallLine(const std::string& /*name*/) {
  return std::make_unique<CState::CLine>(mState);
}

std::unique_ptr<IEvent> CVirtualScheduler::CreateEvent() {
  return std::make_unique<CState::CEvent>(mState);
}

void CVirtualScheduler::RunFor(Milliseconds span) {
  const TimePoint end = mState->now + span;
  while (mState->RunNext(end)) {
  }
  mState->now = std::max(mState->now, end);
}
