#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include "ipc/diagnostics.service.h"

#include "platform/diagnostics/pendingreports.h"
#include "platform/rpc/backoff.h"
#include "platform/utility/mutex.h"
#include "platform/worker/worker.h"

/// Brings signals to the diagnostics peer. While it is away the newest value of each signal is kept and the
/// newest 256 events, with one warning when the first is dropped, until nothing waits any more; all of it is
/// sent when the peer is back.
/// Any thread.
class CDiagnosticsCommClient {
 public:
  static constexpr std::size_t kMostEvents = 256;

  CDiagnosticsCommClient(IScheduler& scheduler, std::shared_ptr<Rpc::CClient> client);
  ~CDiagnosticsCommClient();

  /// Begins and ends sending; what is reported before is kept until then.
  void Start();
  void Stop();

  const IClock& Clock() const;

  /// Queues a signal's new value, or an event, and returns at once.
  void Report(ipc::MDiagnosticsSignal signal);

 private:
  void SendNext();
  std::optional<CPendingReports::SReport> NextOrRest();
  void NoteAnswer(const ipc::MDiagnosticsSignal& signal, const ipc::MResult& answer);

  // Constant after construction.
  const IClock& mClock;
  ipc::CDiagnosticsClient mPeer;

  // Used on the worker only.
  Rpc::CBackOff mBackOff;
  CCallHandle mRetry;
  bool mRefused = false;

  CMutex mMutex;
  CPendingReports mPending GUARDED_BY(mMutex){kMostEvents};
  bool mStarted GUARDED_BY(mMutex) = false;
  bool mSending GUARDED_BY(mMutex) = false;  // a call of `SendNext` runs or is on its way
  bool mDropping GUARDED_BY(mMutex) = false;

  CWorker mWorker;
};
