#include "platform/diagnostics/diagnosticscommclient.h"

#include <utility>

#include "platform/log/log.h"

CDiagnosticsCommClient::CDiagnosticsCommClient(IScheduler& scheduler, std::shared_ptr<Rpc::CClient> client)
    : mClock(scheduler), mPeer(std::move(client)), mWorker(scheduler, "Diagnostics") {}

CDiagnosticsCommClient::~CDiagnosticsCommClient() {
  Stop();
}

void CDiagnosticsCommClient::Start() {
  mWorker.Start();
  {
    CMutexLock lock(mMutex);
    if (mStarted) return;
    mStarted = true;
    mSending = true;
  }
  mWorker.NonBlockingCall([this] { SendNext(); });
}

void CDiagnosticsCommClient::Stop() {
  {
    CMutexLock lock(mMutex);
    mStarted = false;
  }
  mWorker.Stop();
}

const IClock& CDiagnosticsCommClient::Clock() const {
  return mClock;
}

void CDiagnosticsCommClient::Report(ipc::MDiagnosticsSignal signal) {
  bool isFirstDropped = false;
  bool mustWake = false;
  {
    CMutexLock lock(mMutex);
    if (!mPending.Add(std::move(signal))) isFirstDropped = !std::exchange(mDropping, true);
    if (mStarted) mustWake = !std::exchange(mSending, true);
  }
  if (isFirstDropped) {
    LOG_WARNING("Diagnostics: {} events wait for the peer; from now on the oldest are dropped", kMostEvents);
  }
  if (mustWake) mWorker.NonBlockingCall([this] { SendNext(); });
}

// One report in a call, so that stopping never waits for more than one.
void CDiagnosticsCommClient::SendNext() {
  const auto report = NextOrRest();
  if (!report) return;
  const auto result = mPeer.Report(report->message);
  if (!result.IsOk()) {
    mRetry = mWorker.AddCall([this] { SendNext(); }, mBackOff.Next());
    return;
  }
  mBackOff.Reset();
  NoteAnswer(report->message, result.value);
  {
    CMutexLock lock(mMutex);
    mPending.Remove(*report);
  }
  mWorker.NonBlockingCall([this] { SendNext(); });
}

std::optional<CPendingReports::SReport> CDiagnosticsCommClient::NextOrRest() {
  CMutexLock lock(mMutex);
  const auto* first = mPending.First();
  mSending = first != nullptr;
  if (first == nullptr) {
    mDropping = false;
    return std::nullopt;
  }
  return *first;
}

void CDiagnosticsCommClient::NoteAnswer(const ipc::MDiagnosticsSignal& signal, const ipc::MResult& answer) {
  const bool wasRefused = std::exchange(mRefused, answer.code() != 0);
  if (mRefused && !wasRefused) {
    LOG_WARNING("Diagnostics: the peer refuses signal {} \"{}\" with answer {}", signal.number(),
                signal.name(), answer.code());
  }
}
