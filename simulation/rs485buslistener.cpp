#include "simulation/rs485buslistener.h"

void CRs485BusListener::Hear(std::span<const std::uint8_t> data) {
  mReceived.insert(mReceived.end(), data.begin(), data.end());
  if (mReceived.size() > kMostReceived)
    mReceived.erase(mReceived.begin(), mReceived.end() - std::ptrdiff_t{kMostReceived});
  ICommunicationListener::IEndpoint* const line = this;
  if (mHandler) mHandler({shared_from_this(), line});
}

bool CRs485BusListener::SendData(std::span<const std::uint8_t> data) {
  if (!IsListening()) return false;
  mBus.Send(*this, data);
  return true;
}
