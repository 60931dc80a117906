#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/crypto/randomgenerator.h"
#include "platform/network/network.h"
#include "platform/worker/worker.h"
#include "src/communication/icommunicationlistener.h"

class CEthernetLink;
class CEthernetPeers;

/// The stations of a group on one network adapter: UDP over IPv6, to all of them by link-scope multicast, to
/// one of them alone. Datagrams come on the socket's own thread.
///
/// An adapter that goes away while listening is told once and waited for. `Start`, `Stop` and the setting of
/// the handler one at a time, the rest from any thread.
class CEthernetCommunication final : public ICommunicationListener {
 public:
  /// Where several instances on one machine hear each other.
  static constexpr std::string_view kLoopbackAdapter = "lo";
  /// A peer that has sent nothing valid for so long is forgotten.
  static constexpr Milliseconds kPeerLifetime{10000};
  /// How often it is checked that the adapter is still there, or there again.
  static constexpr Milliseconds kAdapterCheck{1000};
  /// Before the next receive when one has failed.
  static constexpr Milliseconds kReceivePause{1000};
  /// Bytes of a datagram; what is longer is cut. The largest packet of a group has 61.
  static constexpr std::size_t kMostOfDatagram = 64;

  class CEndpoint;

  struct SSurroundings {
    IScheduler& scheduler;
    INetwork& network;
    std::unique_ptr<IRandomGenerator> random;
  };

  /// The group's numbers are 1 to 65535.
  CEthernetCommunication(SSurroundings surroundings, std::string adapter, std::uint16_t port,
                         std::uint16_t groupId);
  ~CEthernetCommunication() override;

  /// False also when it is started already. Repeated failures are told once.
  bool Start() override;
  /// May be followed by `Start`.
  void Stop() override;
  bool BroadcastData(std::span<const std::uint8_t> data) override;
  Milliseconds GetResponseTime(bool extended) const override;
  std::uint32_t GetCapacity() const override;
  void SetDataReceivedHandler(DataReceivedHandler handler) override;

 private:
  bool IsLoopback() const { return mAdapter == kLoopbackAdapter; }
  std::string WhyNotToStart(std::uint32_t index) const;
  bool SetUp(std::uint32_t index);
  void CloseSocket();
  void Announce(std::uint32_t index);
  bool Fail(std::string failure);
  void Receive();

  // On the socket's thread.
  void OnReceived(const std::error_code& error, std::size_t received, const SUdpAddress& sender);
  void OnReceiveError(const std::error_code& error, std::size_t received);
  void Deliver(std::span<const std::uint8_t> data, const SUdpAddress& sender);

  // On the worker.
  void CheckAdapter();
  void ExpirePeers();

  INetwork& mNetwork;
  const std::string mAdapter;
  const std::uint16_t mPort;
  const std::uint16_t mGroupId;
  const std::shared_ptr<CEthernetLink> mLink;
  const std::unique_ptr<CEthernetPeers> mPeers;
  DataReceivedHandler mHandler;
  bool mIsStarted = false;

  // Changed on the worker, or while it stands still. `Receive` also uses it on the socket's own thread, and
  // in `Start` behind the worker's own start: nothing changes it then, since the first adapter check is added
  // after that, and closing waits for that thread to end before the socket goes.
  std::unique_ptr<IUdpSocket> mSocket;  // none: there is no adapter, or it is not started

  // Used on the worker, or while it stands still.
  std::uint32_t mIndex = 0;
  std::string mFailure;    // of the newest attempt to set up
  std::string mAnnounced;  // since the newest that succeeded
  CCallHandle mExpiry;

  CCallHandle mAdapterCheck;  // set by `Start` alone

  // Used on the socket's thread, or while it has nothing to handle: before the first receive, after the
  // close.
  std::array<std::uint8_t, kMostOfDatagram> mBuffer{};
  std::error_code mReceiveError;  // of the newest receive
  bool mIsMissingHandlerTold = false;
  CCallHandle mNextReceive;

  CWorker mWorker;  // stops before the rest goes
};
