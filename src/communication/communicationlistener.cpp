#include "src/communication/communicationlistener.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

#include <fmt/format.h>
#include <sys/eventfd.h>
#include <sys/select.h>
#include <unistd.h>

#include "platform/log/log.h"
#include "src/communication/rs485endpoint.h"

namespace {

constexpr auto kClassName = "CCommunicationListener";
constexpr Milliseconds kResponseTime{100};
constexpr std::uint32_t kCapacity = 31;
/// Bytes.
constexpr std::size_t kLongestRead = 128;

std::string RaisedError(std::string_view operation, int error) {
  return fmt::format("::{} raised error \"{}\"", operation, std::generic_category().message(error));
}

/// `select` would write beyond its set otherwise.
bool CanBeSelected(int descriptor) {
  return descriptor >= 0 && descriptor < FD_SETSIZE;
}

}  // namespace

CCommunicationListener::CCommunicationListener(std::unique_ptr<ICommunicationHal> hal,
                                               std::unique_ptr<CWorker> worker, const CBackOff& pauses)
    : mHal(std::move(hal)),
      mEndpoint(std::make_shared<CEndpoint>()),
      mBackOff(pauses),
      mWorker(std::move(worker)) {
  LOG_ENTRY(kClassName);
}

CCommunicationListener::~CCommunicationListener() {
  LOG_ENTRY(kClassName);
  CCommunicationListener::Stop();
}

bool CCommunicationListener::Start() {
  LOG_ENTRY(kClassName);
  if (mIsStarted) return true;
  if (!OpenDevice()) {
    if (!std::exchange(mIsStartFailureTold, true)) LOG_ERROR("Failed to open device for listening");
    return false;
  }
  mIsStartFailureTold = false;
  if (!CreateEndEvent()) {
    CloseDevice();
    return false;
  }
  mIsLost = false;
  mBackOff.Reset();
  mIsStarted = true;
  mWorker->Start();
  return mWorker->NonBlockingCall([this] { ReceiveLoop(); });
}

bool CCommunicationListener::OpenDevice() {
  if (!mHal->Open()) return false;
  const int device = mHal->Descriptor();
  if (!CanBeSelected(device)) {
    mHal->Close();
    return Fail(fmt::format("Too many files are open: ::select cannot wait for descriptor {}", device));
  }
  mEndpoint->GetReceiveBuffer().clear();
  mEndpoint->Attach(device);
  return true;
}

bool CCommunicationListener::CreateEndEvent() {
  mEndEvent = CFileDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  const int error = mEndEvent.IsOpen() ? EMFILE : errno;
  if (!CanBeSelected(mEndEvent.Get())) {
    return Fail(fmt::format("Failed to create event descriptor: {}", RaisedError("eventfd", error)));
  }
  mFailure.clear();
  return true;
}

/// The same one again is not told.
bool CCommunicationListener::Fail(std::string failure) {
  if (failure != mFailure) LOG_ERROR("{}", failure);
  mFailure = std::move(failure);
  return false;
}

void CCommunicationListener::Stop() {
  LOG_ENTRY(kClassName);
  if (!std::exchange(mIsStarted, false)) return;
  const std::uint64_t one = 1;
  while (::write(mEndEvent.Get(), &one, sizeof one) < 0 && errno == EINTR) {
  }
  mWorker->Stop();
  mNextAttempt.Cancel();
  CloseDevice();
  mEndEvent.Close();
}

void CCommunicationListener::CloseDevice() {
  mEndpoint->Detach();
  mHal->Close();
}

bool CCommunicationListener::BroadcastData(std::span<const std::uint8_t> data) {
  LOG_ENTRY(kClassName);
  return mEndpoint->SendData(data);
}

Milliseconds CCommunicationListener::GetResponseTime(bool /*extended*/) const {
  return kResponseTime;
}

std::uint32_t CCommunicationListener::GetCapacity() const {
  return kCapacity;
}

void CCommunicationListener::SetDataReceivedHandler(DataReceivedHandler handler) {
  mHandler = std::move(handler);
}

void CCommunicationListener::ReceiveLoop() {
  while (true) {
    switch (Await()) {
      case EWait::Ended:
        return;
      case EWait::Again:
        break;
      case EWait::Readable:
        if (!Receive()) return OpenAgain();
        break;
      case EWait::Failed:
        LoseDevice(fmt::format("Failed to receive data: {}", RaisedError("select", errno)));
        return OpenAgain();
    }
  }
}

CCommunicationListener::EWait CCommunicationListener::Await() const {
  const int device = mHal->Descriptor();
  fd_set waited;
  FD_ZERO(&waited);
  FD_SET(device, &waited);
  FD_SET(mEndEvent.Get(), &waited);
  if (::select(std::max(device, mEndEvent.Get()) + 1, &waited, nullptr, nullptr, nullptr) < 0) {
    return errno == EINTR ? EWait::Again : EWait::Failed;
  }
  return FD_ISSET(mEndEvent.Get(), &waited) ? EWait::Ended : EWait::Readable;
}

/// False when the device is lost.
bool CCommunicationListener::Receive() {
  std::array<std::uint8_t, kLongestRead> bytes{};
  const ssize_t count = ::read(mHal->Descriptor(), bytes.data(), bytes.size());
  if (count > 0) {
    Deliver(std::span(bytes).first(static_cast<std::size_t>(count)));
    return true;
  }
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return true;
  const std::string reason = count == 0 ? "::read returned 0" : RaisedError("read", errno);
  LoseDevice(fmt::format("Failed to read data: {}", reason));
  return false;
}

void CCommunicationListener::Deliver(std::span<const std::uint8_t> data) {
  mBackOff.Reset();
  if (std::exchange(mIsLost, false)) LOG_INFO("The device for listening is heard again");
  mEndpoint->Append(data);
  if (mHandler) return mHandler(mEndpoint);
  if (!std::exchange(mIsMissingHandlerTold, true)) LOG_ERROR("No DataReceived handler");
}

void CCommunicationListener::LoseDevice(const std::string& reason) {
  if (!std::exchange(mIsLost, true)) LOG_ERROR("{}", reason);
  CloseDevice();
}

void CCommunicationListener::OpenAgain() {
  mNextAttempt = mWorker->AddCall([this] { TryToOpenAgain(); }, mBackOff.Next());
}

void CCommunicationListener::TryToOpenAgain() {
  return OpenDevice() ? ReceiveLoop() : OpenAgain();
}
