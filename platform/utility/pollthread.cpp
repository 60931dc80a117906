#include "platform/utility/pollthread.h"

#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>

#include "platform/log/logcapture.h"

namespace {

/// Linux takes no longer thread names.
constexpr std::size_t kLongestThreadName = 15;

CFileDescriptor OpenEvent() {
  CFileDescriptor event(::eventfd(0, EFD_CLOEXEC));
  if (!event.IsOpen()) throw std::system_error(errno, std::generic_category(), "eventfd");
  return event;
}

}  // namespace

CPollThread::CPollThread(const std::string& name, int descriptor, Handler handler)
    : mEnd(OpenEvent()),
      mThread([this, descriptor, handler = std::move(handler), context = CLogCapture::OfThisThread()] {
        const CLogCapture::CScope scope(context);
        Run(descriptor, handler);
      }) {
  ::pthread_setname_np(mThread.native_handle(), name.substr(0, kLongestThreadName).c_str());
}

CPollThread::~CPollThread() {
  const std::uint64_t one = 1;
  while (::write(mEnd.Get(), &one, sizeof one) < 0 && errno == EINTR) {
  }
  mThread.join();
}

void CPollThread::Run(int descriptor, const Handler& handler) const {
  std::optional<Milliseconds> longest;
  while (true) {
    pollfd waited[] = {{mEnd.Get(), POLLIN, 0}, {descriptor, POLLIN, 0}};
    const int ready = ::poll(waited, std::size(waited), longest ? static_cast<int>(longest->count()) : -1);
    if (ready < 0) continue;  // interrupted
    if (waited[0].revents != 0) return;
    longest = handler();
  }
}
