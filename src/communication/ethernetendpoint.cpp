#include "src/communication/ethernetendpoint.h"

#include <utility>

#include <fmt/format.h>

#include "platform/log/log.h"
#include "src/communication/ethernetlink.h"

CEthernetCommunication::CEndpoint::CEndpoint(std::shared_ptr<CEthernetLink> link, const SUdpAddress& address)
    : mLink(std::move(link)), mAddress(address), mLastValid(mLink->Now()) {
  mReceived.reserve(kMostOfDatagram);
}

void CEthernetCommunication::CEndpoint::Receive(std::span<const std::uint8_t> datagram) {
  mReceived.assign(datagram.begin(), datagram.end());
}

TimePoint CEthernetCommunication::CEndpoint::ExpiresAt() const {
  const CMutexLock lock(mMutex);
  return mLastValid + kPeerLifetime;
}

bool CEthernetCommunication::CEndpoint::IsProven() const {
  const CMutexLock lock(mMutex);
  return mIsProven;
}

bool CEthernetCommunication::CEndpoint::SendData(std::span<const std::uint8_t> data) {
  return mLink->Send(data, mAddress);
}

std::string CEthernetCommunication::CEndpoint::ToString() const {
  return fmt::format("{}:{}", ToText(mAddress), mAddress.port);
}

std::optional<std::uint32_t> CEthernetCommunication::CEndpoint::GetMetadata(bool advance) {
  const CMutexLock lock(mMutex);
  if (mSequence.Newest()) return mSequence.Next(advance);
  const auto drawn = mLink->DrawNumber();
  if (drawn) LOG_DEBUG("New sequence number = 0x{:08x}", *drawn);
  mSequence.SetNewest(drawn);
  return drawn;
}

bool CEthernetCommunication::CEndpoint::ValidateMetadata(std::uint32_t received, bool advance) const {
  const CMutexLock lock(mMutex);
  return mSequence.Fits(received, advance);
}

void CEthernetCommunication::CEndpoint::AcceptMetadata(std::optional<std::uint32_t> received) {
  const TimePoint now = mLink->Now();
  const CMutexLock lock(mMutex);
  mLastValid = now;
  mIsProven = true;
  if (received) mSequence.SetNewest(received);
}
