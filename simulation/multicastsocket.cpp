#include "simulation/multicastsocket.h"

#include <algorithm>
#include <vector>

namespace {

constexpr std::uint8_t kMulticast = 0xff;  // first byte of every group's address

bool IsGroup(const SUdpAddress& address) {
  return address.address.front() == kMulticast;
}

}  // namespace

CMulticastSocket::CMulticastSocket(CMulticastStation& station, IScheduler& scheduler,
                                   const std::string& threadName)
    : mStation(station), mWorker(scheduler, threadName) {
  mWorker.Start();
}

CMulticastSocket::~CMulticastSocket() {
  CMulticastSocket::Close();
}

std::error_code CMulticastSocket::Usable() const {
  return mState == EState::Open ? std::error_code() : make_error_code(std::errc::bad_file_descriptor);
}

std::error_code CMulticastSocket::Open() {
  if (mState != EState::New) return make_error_code(std::errc::bad_file_descriptor);
  mState = EState::Open;
  mStation.Add(*this);
  return {};
}

std::error_code CMulticastSocket::BindToDevice(const std::string& adapter) {
  if (const auto error = Usable()) return error;
  mBoundIndex = mStation.FindInterfaceIndex(adapter);
  return mBoundIndex != 0 ? std::error_code() : make_error_code(std::errc::no_such_device);
}

std::error_code CMulticastSocket::AllowAddressReuse() {
  mIsReuseAllowed = true;
  return Usable();
}

std::error_code CMulticastSocket::Bind(std::uint16_t port) {
  if (const auto error = Usable()) return error;
  if (mStation.IsTaken(port, mIsReuseAllowed)) return make_error_code(std::errc::address_in_use);
  mPort = port;
  return {};
}

std::error_code CMulticastSocket::GetLocalAddress(SUdpAddress& local) const {
  local = {.address = {}, .scope = 0, .port = mPort};
  return Usable();
}

std::error_code CMulticastSocket::SetMulticastLoopback(bool enable) {
  mIsLoopedBack = enable;
  return Usable();
}

std::error_code CMulticastSocket::SetMulticastInterface(std::uint32_t index) {
  if (const auto error = Usable()) return error;
  if (!mStation.HasAdapter(index)) return make_error_code(std::errc::no_such_device);
  mMulticastIndex = index;
  return {};
}

std::error_code CMulticastSocket::JoinGroup(const SUdpAddress& group, std::uint32_t index) {
  if (const auto error = Usable()) return error;
  if (!IsGroup(group)) return make_error_code(std::errc::invalid_argument);
  if (!mStation.HasAdapter(index)) return make_error_code(std::errc::no_such_device);
  mGroups.emplace(group.address, index);
  return {};
}

bool CMulticastSocket::IsMeant(const SUdpAddress& to) const {
  if (to.port != mPort || !mStation.HasAdapter(mBoundIndex)) return false;
  if (!IsGroup(to)) return to.address == CMulticastMedium::AddressOf(mStation.Number(), 0).address;
  return std::ranges::any_of(mGroups, [&](const auto& group) {
    return group.first == to.address && mStation.HasAdapter(group.second);
  });
}

void CMulticastSocket::Receive(std::span<std::uint8_t> buffer, ReceiveHandler handler) {
  mReceive = SReceive{buffer, std::move(handler)};
  if (mState == EState::Closed) return CancelReceive();
  if (!mWaiting.empty()) mWorker.NonBlockingCall([this] { HandOver(); });
}

void CMulticastSocket::Hear(const SDatagram& datagram, Milliseconds delay) {
  const std::uint64_t id = ++mLastOnTheWay;
  mOnTheWay[id] = mWorker.AddCall(
      [this, id, datagram] {
        Arrive(datagram);
        mOnTheWay.erase(id);
      },
      delay);
}

void CMulticastSocket::Arrive(SDatagram datagram) {
  // Whoever unplugs does not hear what was on the way, and no group is left by then either.
  if (!mStation.HasAdapter(mBoundIndex) || mWaiting.size() == kMostWaiting) return;
  mWaiting.push_back(std::move(datagram));
  HandOver();
}

void CMulticastSocket::HandOver() {
  if (!mReceive || mWaiting.empty()) return;
  const SReceive receive = *std::exchange(mReceive, std::nullopt);
  const SDatagram datagram = std::move(mWaiting.front());
  mWaiting.pop_front();
  const std::size_t length = std::min(datagram.data.size(), receive.buffer.size());
  std::copy_n(datagram.data.begin(), length, receive.buffer.begin());
  mStation.ShowArrival(datagram);
  receive.handler({}, length, datagram.from);
}

bool CMulticastSocket::Send(std::span<const std::uint8_t> data, const SUdpAddress& to) {
  if (mState != EState::Open) return false;
  const std::error_code error = Transmit(data, to);
  mWorker.NonBlockingCall([this, error, sent = std::vector(data.begin(), data.end()), to] {
    if (mSentHandler) mSentHandler(error, error ? 0 : sent.size(), sent, to);
  });
  return true;
}

std::error_code CMulticastSocket::Transmit(std::span<const std::uint8_t> data, const SUdpAddress& to) {
  if (data.size() > CMulticastMedium::kLargestDatagram) return make_error_code(std::errc::message_size);
  const bool isGone = !mStation.HasAdapter(mBoundIndex) || !mStation.HasAdapter(to.scope) ||
                      (IsGroup(to) && !mStation.HasAdapter(mMulticastIndex));
  if (isGone) return make_error_code(std::errc::no_such_device);
  const SUdpAddress from{.address = {}, .scope = 0, .port = mPort};
  mStation.Send({{data.begin(), data.end()}, from, to}, mIsLoopedBack && IsGroup(to));
  return {};
}

void CMulticastSocket::CancelReceive() {
  if (!mReceive) return;
  const SReceive receive = *std::exchange(mReceive, std::nullopt);
  receive.handler(make_error_code(std::errc::operation_canceled), 0, {});
}

void CMulticastSocket::Close() {
  if (mState == EState::Closed) return;
  if (mState == EState::Open) mStation.Remove(*this);
  mState = EState::Closed;
  mOnTheWay.clear();
  mWorker.BlockingCall([this] { CancelReceive(); });
  mWorker.Stop();
}
