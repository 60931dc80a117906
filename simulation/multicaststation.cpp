#include "simulation/multicaststation.h"

#include <algorithm>

#include "simulation/multicastsocket.h"

std::uint32_t CMulticastStation::FindInterfaceIndex(const std::string& adapter) const {
  return adapter == mAdapter ? mIndex : 0;
}

std::unique_ptr<IUdpSocket> CMulticastStation::CreateUdpSocket(const std::string& threadName) {
  return std::make_unique<CMulticastSocket>(*this, mScheduler, threadName);
}

void CMulticastStation::SetAdapterPresent(bool isPresent) {
  if (isPresent == (mIndex != 0)) return;
  mIndex = isPresent ? mNextIndex++ : 0;
}

bool CMulticastStation::IsMeant(const SUdpAddress& to) const {
  return std::ranges::any_of(mSockets, [&](const CMulticastSocket* socket) { return socket->IsMeant(to); });
}

void CMulticastStation::Hear(const SDatagram& datagram, Milliseconds delay) {
  if (mIndex == 0) return;
  SDatagram heard = datagram;
  heard.from.scope = mIndex;
  for (CMulticastSocket* const socket : mSockets) {
    if (socket->IsMeant(heard.to)) socket->Hear(heard, delay);
  }
}

void CMulticastStation::Remove(const CMulticastSocket& socket) {
  std::erase(mSockets, &socket);
}

bool CMulticastStation::IsTaken(std::uint16_t port, bool isReuseAllowed) const {
  return std::ranges::any_of(mSockets, [&](const CMulticastSocket* socket) {
    return socket->Port() == port && !(isReuseAllowed && socket->IsReuseAllowed());
  });
}

void CMulticastStation::Send(SDatagram datagram, bool isLoopedBack) {
  datagram.from = CMulticastMedium::AddressOf(mNumber, datagram.from.port);
  const bool isOwn = datagram.to.address == datagram.from.address;
  if (isOwn || isLoopedBack) Hear(datagram, Milliseconds{0});
  if (!isOwn) mMedium.Carry(*this, datagram);
}

void CMulticastStation::ShowArrival(const SDatagram& datagram) const {
  if (mMedium.mArrivalTap) mMedium.mArrivalTap(mNumber, datagram);
}
