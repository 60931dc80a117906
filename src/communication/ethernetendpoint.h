#pragma once

#include "platform/utility/mutex.h"
#include "src/communication/ethernetcommunication.h"
#include "src/communication/peersequence.h"

/// One station on the network, with its place in the sequence of packets that it exchanges with this one. It
/// may outlive the transport: then it sends nothing any more.
class CEthernetCommunication::CEndpoint final : public ICommunicationListener::IEndpoint {
 public:
  CEndpoint(std::shared_ptr<CEthernetLink> link, const SUdpAddress& address);

  /// A datagram has come. On the socket's thread, as what uses the buffer. It takes the place of what the one
  /// before has left there: a packet is one datagram, and bytes of somebody who only pretends to be this peer
  /// must not hold the next one back.
  void Receive(std::span<const std::uint8_t> datagram);
  /// When the peer is to be forgotten, unless a valid packet comes before.
  TimePoint ExpiresAt() const EXCLUDES(mMutex);
  /// Whether a valid packet has come from it.
  bool IsProven() const EXCLUDES(mMutex);

  bool SendData(std::span<const std::uint8_t> data) override;
  std::vector<std::uint8_t>& GetReceiveBuffer() override { return mReceived; }
  std::string ToString() const override;
  std::optional<std::uint32_t> GetMetadata(bool advance) override EXCLUDES(mMutex);
  bool ValidateMetadata(std::uint32_t received, bool advance) const override EXCLUDES(mMutex);
  void AcceptMetadata(std::optional<std::uint32_t> received) override EXCLUDES(mMutex);
  bool IsNetworkEndpoint() const override { return true; }

 private:
  const std::shared_ptr<CEthernetLink> mLink;
  const SUdpAddress mAddress;
  std::vector<std::uint8_t> mReceived;

  mutable CMutex mMutex;
  CPeerSequence mSequence GUARDED_BY(mMutex);
  TimePoint mLastValid GUARDED_BY(mMutex);  // or when it was created
  bool mIsProven GUARDED_BY(mMutex) = false;
};
