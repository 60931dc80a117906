#include "platform/utility/signalwatcher.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <pthread.h>
#include <signal.h>
#include <sys/signalfd.h>

namespace {

sigset_t EndingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  return signals;
}

CFileDescriptor BlockAndOpen() {
  CSignalWatcher::Block();
  const sigset_t signals = EndingSignals();
  CFileDescriptor descriptor(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  if (!descriptor.IsOpen()) throw std::system_error(errno, std::generic_category(), "signalfd");
  return descriptor;
}

}  // namespace

void CSignalWatcher::Block() {
  const sigset_t signals = EndingSignals();
  if (const int error = ::pthread_sigmask(SIG_BLOCK, &signals, nullptr); error != 0) {
    throw std::system_error(error, std::generic_category(), "pthread_sigmask");
  }
}

CSignalWatcher::CSignalWatcher(std::function<void(int signal)> callback)
    : mSignals(BlockAndOpen()),
      mThread("signals", mSignals.Get(),
              [descriptor = mSignals.Get(), callback = std::move(callback)]() -> std::optional<Milliseconds> {
                signalfd_siginfo arrived{};
                if (::read(descriptor, &arrived, sizeof arrived) == sizeof arrived) {
                  callback(static_cast<int>(arrived.ssi_signo));
                }
                return std::nullopt;
              }) {}
