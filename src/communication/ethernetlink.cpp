#include "src/communication/ethernetlink.h"

#include <array>
#include <utility>

#include "platform/crypto/cryptoerror.h"
#include "platform/log/log.h"

CEthernetLink::CEthernetLink(const IClock& clock, std::unique_ptr<IRandomGenerator> random)
    : mClock(clock), mRandom(std::move(random)), mRandomInitCode(mRandom->Init()) {}

std::optional<std::uint32_t> CEthernetLink::DrawNumber() {
  std::array<std::uint8_t, sizeof(std::uint32_t)> bytes{};
  const CMutexLock lock(mRandomMutex);
  const int code = mRandom->GenerateBlock(bytes);
  if (std::exchange(mRandomCode, code) != code && code != 0)
    LOG_ERROR("wc_RNG_GenerateBlock failed, rc={:d}, msg={:s}", code, CryptoErrorText(code));
  if (code != 0) return std::nullopt;
  std::uint32_t number = 0;
  for (const std::uint8_t byte : bytes) number = number << 8 | byte;
  return number;
}

void CEthernetLink::Attach(IUdpSocket& socket, const SUdpAddress& group) {
  const CMutexLock lock(mMutex);
  mSocket = &socket;
  mGroup = group;
}

void CEthernetLink::Detach() {
  const CMutexLock lock(mMutex);
  mSocket = nullptr;
}

bool CEthernetLink::Send(std::span<const std::uint8_t> data, const SUdpAddress& to) {
  const CMutexLock lock(mMutex);
  return SendLocked(data, to);
}

bool CEthernetLink::SendToGroup(std::span<const std::uint8_t> data) {
  const CMutexLock lock(mMutex);
  return SendLocked(data, mGroup);
}

bool CEthernetLink::SendLocked(std::span<const std::uint8_t> data, const SUdpAddress& to) {
  const char* failure = nullptr;
  if (mSocket == nullptr) {
    failure = "the network is not open";
  } else if (!mSocket->Send(data, to)) {
    failure = "too many packets wait to be sent";
  }
  if (std::exchange(mFailure, failure) != failure && failure != nullptr)
    LOG_ERROR("Could not send {:d} bytes: {:s}", data.size(), failure);
  return failure == nullptr;
}
