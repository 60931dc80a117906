#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>

#include "platform/worker/worker.h"
#include "simulation/multicaststation.h"

/// A socket on a CMulticastMedium. One thread.
class CMulticastSocket final : public IUdpSocket {
 public:
  using SDatagram = CMulticastMedium::SDatagram;

  /// Datagrams that are kept while nobody receives; then the newest are lost.
  static constexpr std::size_t kMostWaiting = 256;

  CMulticastSocket(CMulticastStation& station, IScheduler& scheduler, const std::string& threadName);
  ~CMulticastSocket() override;

  std::error_code Open() override;
  std::error_code BindToDevice(const std::string& adapter) override;
  std::error_code AllowAddressReuse() override;
  std::error_code Bind(std::uint16_t port) override;
  std::error_code GetLocalAddress(SUdpAddress& local) const override;
  std::error_code SetMulticastLoopback(bool enable) override;
  std::error_code SetMulticastInterface(std::uint32_t index) override;
  std::error_code JoinGroup(const SUdpAddress& group, std::uint32_t index) override;
  void SetSentHandler(SentHandler handler) override { mSentHandler = std::move(handler); }
  void Receive(std::span<std::uint8_t> buffer, ReceiveHandler handler) override;
  bool Send(std::span<const std::uint8_t> data, const SUdpAddress& to) override;
  void Close() override;

  std::uint16_t Port() const { return mPort; }
  bool IsReuseAllowed() const { return mIsReuseAllowed; }
  /// Whether it gets what is sent to that address now.
  bool IsMeant(const SUdpAddress& to) const;
  void Hear(const SDatagram& datagram, Milliseconds delay);

 private:
  enum class EState { New, Open, Closed };
  struct SReceive {
    std::span<std::uint8_t> buffer;
    ReceiveHandler handler;
  };
  using Address = std::array<std::uint8_t, 16>;

  std::error_code Usable() const;
  std::error_code Transmit(std::span<const std::uint8_t> data, const SUdpAddress& to);
  void Arrive(SDatagram datagram);
  void HandOver();
  void CancelReceive();

  CMulticastStation& mStation;
  EState mState = EState::New;
  bool mIsReuseAllowed = false;
  bool mIsLoopedBack = true;  // as sockets are until they are told otherwise
  std::uint16_t mPort = 0;
  std::uint32_t mBoundIndex = 0;      // 0: to no adapter
  std::uint32_t mMulticastIndex = 0;  // 0: any
  std::set<std::pair<Address, std::uint32_t>> mGroups;
  SentHandler mSentHandler;

  std::optional<SReceive> mReceive;
  std::deque<SDatagram> mWaiting;
  std::uint64_t mLastOnTheWay = 0;
  std::map<std::uint64_t, CCallHandle> mOnTheWay;
  CWorker mWorker;  // stops before the rest goes
};
