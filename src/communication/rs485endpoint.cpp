#include "src/communication/rs485endpoint.h"

#include <cerrno>
#include <iterator>
#include <system_error>
#include <utility>

#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include "platform/log/log.h"

CCommunicationListener::CEndpoint::CEndpoint() {
  mReceived.reserve(kMostReceived);
}

void CCommunicationListener::CEndpoint::Attach(int descriptor) {
  CMutexLock lock(mMutex);
  mDescriptor = descriptor;
}

void CCommunicationListener::CEndpoint::Detach() {
  Attach(-1);
}

void CCommunicationListener::CEndpoint::Append(std::span<const std::uint8_t> data) {
  if (data.size() > kMostReceived) data = data.last(kMostReceived);
  const std::size_t room = kMostReceived - data.size();
  if (mReceived.size() > room) {
    mReceived.erase(mReceived.begin(),
                    std::next(mReceived.begin(), std::ssize(mReceived) - static_cast<std::ptrdiff_t>(room)));
  }
  mReceived.insert(mReceived.end(), data.begin(), data.end());
}

bool CCommunicationListener::CEndpoint::SendData(std::span<const std::uint8_t> data) {
  CMutexLock lock(mMutex);
  std::string failure = Write(data);
  if (!failure.empty() && failure != mFailure) LOG_ERROR("Failed to write data: {}", failure);
  mFailure = std::move(failure);
  return mFailure.empty();
}

/// What failed; empty: nothing.
std::string CCommunicationListener::CEndpoint::Write(std::span<const std::uint8_t> data) const {
  if (mDescriptor < 0) return "the line is not open";
  while (!data.empty()) {
    const ssize_t written = ::write(mDescriptor, data.data(), data.size());
    const int error = written < 0 ? errno : EAGAIN;
    if (written > 0) {
      data = data.subspan(static_cast<std::size_t>(written));
    } else if (error == EAGAIN) {
      if (!AwaitRoom()) return fmt::format("the line took no byte for {} ms", kSendPatience.count());
    } else if (error != EINTR) {
      return fmt::format("::write raised error \"{}\"", std::generic_category().message(error));
    }
  }
  return "";
}

bool CCommunicationListener::CEndpoint::AwaitRoom() const {
  pollfd device{mDescriptor, POLLOUT, 0};
  int ready = 0;
  do {
    ready = ::poll(&device, 1, static_cast<int>(kSendPatience.count()));
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}
