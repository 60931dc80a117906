#include "platform/mdns/avahiloop.h"

#include <cstdint>
#include <system_error>
#include <thread>
#include <utility>

#include <avahi-client/client.h>
#include <avahi-common/error.h>
#include <avahi-common/simple-watch.h>
#include <fmt/format.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "platform/log/log.h"
#include "platform/log/logcapture.h"
#include "platform/utility/filedescriptor.h"
#include "platform/utility/monotoniccondition.h"

namespace {

template <auto tFree>
struct SFree {
  template <class TObject>
  void operator()(TObject* object) const {
    tFree(object);
  }
};
using Poll = std::unique_ptr<AvahiSimplePoll, SFree<avahi_simple_poll_free>>;
using Client = std::unique_ptr<AvahiClient, SFree<avahi_client_free>>;

constexpr AvahiClientFlags kNoFlags{};

}  // namespace

/// What the thread and its owner share; the thread keeps it alive.
class CAvahiLoop::CThread {
 public:
  explicit CThread(std::shared_ptr<IAvahiUse> use)
      : mUse(std::move(use)), mEndEvent(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

  /// Throws std::system_error when there can be no thread.
  static void Start(const std::shared_ptr<CThread>& self);
  /// Why the daemon could not be reached; empty: it was.
  std::string AwaitConnection() EXCLUDES(mMutex);
  void End() EXCLUDES(mMutex);

 private:
  enum class EStage : std::uint8_t {
    Begun,
    Tried,  ///< to reach the daemon, once
    Ended
  };

  // On the thread.
  void Run();
  void WorkWithDaemon(AvahiSimplePoll* poll);
  bool Connect(AvahiSimplePoll* poll);
  void Iterate(AvahiSimplePoll* poll, Milliseconds longest);
  void OnState(AvahiClient* client, AvahiClientState state);
  void EndUse();
  void Reach(EStage stage, std::string failure = {}) EXCLUDES(mMutex);
  bool Await(EStage stage) REQUIRES(mMutex);

  const std::shared_ptr<IAvahiUse> mUse;
  const CFileDescriptor mEndEvent;
  std::thread mThread;  // its owner's

  CMutex mMutex;
  CMonotonicCondition mChanged;
  std::string mFailure GUARDED_BY(mMutex);
  EStage mStage GUARDED_BY(mMutex) = EStage::Begun;

  // The thread's.
  bool mIsEnding = false;
  bool mHasFailed = false;
  bool mHasBegun = false;
  Client mClient;
};

void CAvahiLoop::CThread::Start(const std::shared_ptr<CThread>& self) {
  self->mThread = std::thread([self, context = CLogCapture::OfThisThread()] {
    const CLogCapture::CScope scope(context);
    self->Run();
    self->Reach(EStage::Ended);
  });
  ::pthread_setname_np(self->mThread.native_handle(), "avahi");
}

bool CAvahiLoop::CThread::Await(EStage stage) {
  const TimePoint deadline = std::chrono::steady_clock::now() + kPatience;
  while (mStage < stage && std::chrono::steady_clock::now() < deadline) mChanged.WaitUntil(mMutex, deadline);
  return mStage >= stage;
}

void CAvahiLoop::CThread::Reach(EStage stage, std::string failure) {
  const CMutexLock lock(mMutex);
  if (mStage >= stage) return;
  mStage = stage;
  if (!failure.empty()) mFailure = std::move(failure);
  mChanged.NotifyAll();
}

std::string CAvahiLoop::CThread::AwaitConnection() {
  const CMutexLock lock(mMutex);
  if (Await(EStage::Tried)) return mFailure;
  return fmt::format("avahi does not answer within {} ms", kPatience.count());
}

void CAvahiLoop::CThread::End() {
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(mEndEvent.Get(), &one, sizeof one);  // cannot fail
  bool hasEnded = false;
  {
    const CMutexLock lock(mMutex);
    hasEnded = mStage != EStage::Begun && Await(EStage::Ended);  // or it has been waited for already
  }
  if (hasEnded) {
    mThread.join();
  } else {
    LOG_WARNING("avahi hangs, leaving a thread to it");
    mThread.detach();
  }
}

void CAvahiLoop::CThread::Run() {
  const Poll poll(avahi_simple_poll_new());
  if (!poll || !mEndEvent.IsOpen()) return Reach(EStage::Tried, "no descriptors are left");
  const AvahiPoll* api = avahi_simple_poll_get(poll.get());
  AvahiWatch* watch = api->watch_new(
      api, mEndEvent.Get(), AVAHI_WATCH_IN,
      [](AvahiWatch*, int, AvahiWatchEvent, void* self) { static_cast<CThread*>(self)->mIsEnding = true; },
      this);
  if (Connect(poll.get())) {
    while (!mIsEnding) WorkWithDaemon(poll.get());
  }
  api->watch_free(watch);
}

void CAvahiLoop::CThread::WorkWithDaemon(AvahiSimplePoll* poll) {
  while (!mIsEnding && !mHasFailed) Iterate(poll, Milliseconds{-1});
  EndUse();
  mClient.reset();
  if (mIsEnding) return;
  LOG_WARNING("avahi has gone away, waiting for it");
  do {
    const TimePoint next = std::chrono::steady_clock::now() + kRetry;
    while (!mIsEnding && std::chrono::steady_clock::now() < next) Iterate(poll, kRetry);
  } while (!mIsEnding && !Connect(poll));
  if (!mIsEnding) LOG_INFO("avahi is back");
}

void CAvahiLoop::CThread::Iterate(AvahiSimplePoll* poll, Milliseconds longest) {
  if (avahi_simple_poll_iterate(poll, static_cast<int>(longest.count())) == 0) return;
  LOG_ERROR("avahi's descriptors cannot be waited for, giving its services up");
  mIsEnding = true;
}

bool CAvahiLoop::CThread::Connect(AvahiSimplePoll* poll) {
  mHasFailed = false;
  int error = 0;
  mClient.reset(avahi_client_new(
      avahi_simple_poll_get(poll), kNoFlags,
      [](AvahiClient* client, AvahiClientState state, void* self) {
        static_cast<CThread*>(self)->OnState(client, state);
      },
      this, &error));
  Reach(EStage::Tried, mClient ? std::string() : fmt::format("avahi: {}", avahi_strerror(error)));
  return mClient != nullptr;
}

void CAvahiLoop::CThread::OnState(AvahiClient* client, AvahiClientState state) {
  if (state == AVAHI_CLIENT_FAILURE) mHasFailed = true;  // a client is not to be freed in here
  const bool isReady = state == AVAHI_CLIENT_S_RUNNING;
  if (isReady && !std::exchange(mHasBegun, true)) mUse->Begin(client);
  if (!isReady) EndUse();
}

void CAvahiLoop::CThread::EndUse() {
  if (std::exchange(mHasBegun, false)) mUse->End();
}

std::unique_ptr<CAvahiLoop> CAvahiLoop::Create(std::shared_ptr<IAvahiUse> use, std::string& reason) {
  std::shared_ptr<CThread> thread;
  try {
    thread = std::make_shared<CThread>(std::move(use));
    CThread::Start(thread);
  } catch (const std::system_error& error) {
    reason = fmt::format("a thread for avahi: {}", error.what());
    return nullptr;
  }
  std::unique_ptr<CAvahiLoop> loop(new CAvahiLoop(std::move(thread)));
  reason = loop->mThread->AwaitConnection();
  if (!reason.empty()) loop.reset();
  return loop;
}

CAvahiLoop::~CAvahiLoop() {
  mThread->End();
}
