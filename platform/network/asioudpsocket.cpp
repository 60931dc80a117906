#include "platform/network/asioudpsocket.h"

#define ASIO_STANDALONE
#define ASIO_NO_DEPRECATED
#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

#include <asio/dispatch.hpp>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/multicast.hpp>
#include <asio/ip/udp.hpp>
#include <asio/ip/v6_only.hpp>
#include <asio/post.hpp>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>

#include "platform/log/logcapture.h"
#include "platform/network/sendqueue.h"
#include "platform/utility/mutex.h"

namespace {

using Udp = asio::ip::udp;
namespace Multicast = asio::ip::multicast;

/// Codes and texts of the system, not of the library.
std::error_code Plain(const asio::error_code& error) {
  return {error.value(), std::generic_category()};
}

std::error_code Canceled() {
  return std::make_error_code(std::errc::operation_canceled);
}

SUdpAddress ToAddress(const Udp::endpoint& endpoint) {
  const asio::ip::address_v6 address = endpoint.address().to_v6();
  return {.address = address.to_bytes(),
          .scope = static_cast<std::uint32_t>(address.scope_id()),
          .port = endpoint.port()};
}

Udp::endpoint ToEndpoint(const SUdpAddress& address) {
  return {asio::ip::address_v6(address.address, address.scope), address.port};
}

/// The event loop and what lives in it.
struct SLoop {
  asio::io_context context{1};
  Udp::socket socket{context};
  asio::executor_work_guard<asio::io_context::executor_type> work{context.get_executor()};
};

class CAsioUdpSocket final : public IUdpSocket {
 public:
  explicit CAsioUdpSocket(std::string threadName) : mThreadName(std::move(threadName)) {}
  ~CAsioUdpSocket() override { CAsioUdpSocket::Close(); }
  CAsioUdpSocket(const CAsioUdpSocket&) = delete;
  CAsioUdpSocket& operator=(const CAsioUdpSocket&) = delete;

  std::error_code Open() override EXCLUDES(mMutex);
  std::error_code BindToDevice(const std::string& adapter) override;
  std::error_code AllowAddressReuse() override { return Set(asio::socket_base::reuse_address(true)); }
  std::error_code Bind(std::uint16_t port) override;
  std::error_code GetLocalAddress(SUdpAddress& local) const override;
  std::error_code SetMulticastLoopback(bool enable) override {
    return Set(Multicast::enable_loopback(enable));
  }
  std::error_code SetMulticastInterface(std::uint32_t index) override {
    return Set(Multicast::outbound_interface(index));
  }
  std::error_code JoinGroup(const SUdpAddress& group, std::uint32_t index) override {
    return Set(Multicast::join_group(asio::ip::address_v6(group.address), index));
  }
  void SetSentHandler(SentHandler handler) override { mSentHandler = std::move(handler); }

  void Receive(std::span<std::uint8_t> buffer, ReceiveHandler handler) override EXCLUDES(mMutex);
  bool Send(std::span<const std::uint8_t> data, const SUdpAddress& to) override EXCLUDES(mMutex);
  void Close() override EXCLUDES(mMutex);

 private:
  enum class EState : std::uint8_t {
    Created,
    Open,
    Closing,  ///< the loop still runs
    Closed
  };

  template <typename TOption>
  std::error_code Set(const TOption& option);
  void Run() noexcept;
  void Reach(EState state) EXCLUDES(mMutex);

  // On the loop's thread.
  void BeginReceive(std::span<std::uint8_t> buffer, ReceiveHandler handler);
  void BeginSend() EXCLUDES(mMutex);
  void EndSend() EXCLUDES(mMutex);
  void CloseSocket();

  const std::string mThreadName;
  std::unique_ptr<SLoop> mLoop;  // since `Open`
  std::thread mThread;
  SentHandler mSentHandler;
  Udp::endpoint mSender{Udp::v6(), 0};  // of the receive that is under way

  CMutex mMutex;
  EState mState GUARDED_BY(mMutex) = EState::Created;
  CSendQueue mWaiting GUARDED_BY(mMutex);  // the first is being sent
};

std::error_code CAsioUdpSocket::Open() {
  try {
    mLoop = std::make_unique<SLoop>();
    mLoop->socket.open(Udp::v6());
    mLoop->socket.set_option(asio::ip::v6_only(true));  // the same port of IPv4 stays free
    ::fcntl(mLoop->socket.native_handle(), F_SETFD, FD_CLOEXEC);
    mThread = std::thread([this, context = CLogCapture::OfThisThread()] {
      const CLogCapture::CScope scope(context);
      Run();
    });
  } catch (const std::system_error& error) {  // no descriptors, no IPv6, no threads
    return Plain(error.code());
  }
  Reach(EState::Open);
  return {};
}

void CAsioUdpSocket::Run() noexcept {
  ::prctl(PR_SET_NAME, mThreadName.c_str());  // which cuts it to 15 characters
  mLoop->context.run();
}

void CAsioUdpSocket::Reach(EState state) {
  const CMutexLock lock(mMutex);
  mState = state;
}

template <typename TOption>
std::error_code CAsioUdpSocket::Set(const TOption& option) {
  asio::error_code error;
  mLoop->socket.set_option(option, error);
  return Plain(error);
}

std::error_code CAsioUdpSocket::BindToDevice(const std::string& adapter) {
  const int result = ::setsockopt(mLoop->socket.native_handle(), SOL_SOCKET, SO_BINDTODEVICE, adapter.c_str(),
                                  static_cast<socklen_t>(adapter.size()));
  return {result == 0 ? 0 : errno, std::generic_category()};
}

std::error_code CAsioUdpSocket::Bind(std::uint16_t port) {
  asio::error_code error;
  mLoop->socket.bind({Udp::v6(), port}, error);
  return Plain(error);
}

std::error_code CAsioUdpSocket::GetLocalAddress(SUdpAddress& local) const {
  asio::error_code error;
  const Udp::endpoint endpoint = mLoop->socket.local_endpoint(error);
  if (!error) local = ToAddress(endpoint);
  return Plain(error);
}

void CAsioUdpSocket::Receive(std::span<std::uint8_t> buffer, ReceiveHandler handler) {
  {
    const CMutexLock lock(mMutex);
    if (mState == EState::Open || mState == EState::Closing) {
      return asio::dispatch(mLoop->context, [this, buffer, handler = std::move(handler)]() mutable {
        BeginReceive(buffer, std::move(handler));
      });
    }
  }
  handler(Canceled(), 0, {});
}

void CAsioUdpSocket::BeginReceive(std::span<std::uint8_t> buffer, ReceiveHandler handler) {
  mLoop->socket.async_receive_from(
      asio::buffer(buffer.data(), buffer.size()), mSender,
      [this, handler = std::move(handler)](const asio::error_code& error, std::size_t received) {
        if (!error) return handler({}, received, ToAddress(mSender));
        handler(mLoop->socket.is_open() ? Plain(error) : Canceled(), received, {});
      });
}

bool CAsioUdpSocket::Send(std::span<const std::uint8_t> data, const SUdpAddress& to) {
  const CMutexLock lock(mMutex);
  if (mState != EState::Open) return false;
  const bool isIdle = mWaiting.IsEmpty();
  if (!mWaiting.Push(data, to)) return false;
  if (isIdle) asio::post(mLoop->context, [this] { BeginSend(); });
  return true;
}

void CAsioUdpSocket::BeginSend() {
  const CSendQueue::SDatagram* datagram = nullptr;
  {
    const CMutexLock lock(mMutex);
    datagram = &mWaiting.Front();
  }
  mLoop->socket.async_send_to(asio::buffer(datagram->data), ToEndpoint(datagram->to),
                              [this, datagram](const asio::error_code& error, std::size_t sent) {
                                if (mSentHandler)
                                  mSentHandler(Plain(error), sent, datagram->data, datagram->to);
                                EndSend();
                              });
}

void CAsioUdpSocket::EndSend() {
  {
    const CMutexLock lock(mMutex);
    mWaiting.Pop();
    if (mWaiting.IsEmpty()) return;
  }
  BeginSend();
}

void CAsioUdpSocket::Close() {
  if (!mThread.joinable()) return;
  Reach(EState::Closing);
  asio::post(mLoop->context, [this] { CloseSocket(); });
  mLoop->work.reset();
  mThread.join();
  Reach(EState::Closed);
  // What somebody began while the loop was ending is told that it was too late.
  mLoop->context.restart();
  mLoop->context.run();
}

void CAsioUdpSocket::CloseSocket() {
  asio::error_code ignored;  // one that is not connected says so, and is shut down all the same
  mLoop->socket.shutdown(Udp::socket::shutdown_both, ignored);
  mLoop->socket.cancel(ignored);
  mLoop->socket.close(ignored);
}

}  // namespace

std::unique_ptr<IUdpSocket> CreateAsioUdpSocket(const std::string& threadName) {
  return std::make_unique<CAsioUdpSocket>(threadName);
}
