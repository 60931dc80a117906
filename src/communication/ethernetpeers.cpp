#include "src/communication/ethernetpeers.h"

#include <algorithm>
#include <utility>

#include "platform/log/log.h"
#include "src/communication/ethernetlink.h"

CEthernetPeers::SFound CEthernetPeers::FindOrAdd(const SUdpAddress& address) {
  const CMutexLock lock(mMutex);
  if (const auto known = mPeers.find(address); known != mPeers.end())
    return {.peer = known->second.endpoint, .isNewcomer = known->second.isNewcomer};
  if (mNewcomers.size() == kMostNewcomers) Forget(mNewcomers.front());
  auto endpoint = std::make_shared<CEthernetCommunication::CEndpoint>(mLink, address);
  mNewcomers.push_back(mPeers.emplace(address, SPeer{.endpoint = endpoint}).first);
  return {.peer = std::move(endpoint), .isNewcomer = true, .isFirst = !std::exchange(mIsWatched, true)};
}

void CEthernetPeers::Settle(const SUdpAddress& address) {
  const CMutexLock lock(mMutex);
  const auto peer = mPeers.find(address);
  if (peer == mPeers.end() || !peer->second.isNewcomer) return;
  if (Settled() == kMostSettled) {
    if (!std::exchange(mIsFullTold, true))
      LOG_WARNING("There are {:d} peers in the network, more cannot be kept.", kMostSettled);
    return;
  }
  peer->second.isNewcomer = false;
  std::erase(mNewcomers, peer);
}

CEthernetPeers::Peers::iterator CEthernetPeers::Forget(Peers::iterator peer) {
  if (peer->second.isNewcomer) std::erase(mNewcomers, peer);
  return mPeers.erase(peer);
}

std::optional<TimePoint> CEthernetPeers::Expire() {
  const TimePoint now = mLink->Now();
  std::optional<TimePoint> next;
  const CMutexLock lock(mMutex);
  for (auto peer = mPeers.begin(); peer != mPeers.end();) {
    const TimePoint expiresAt = peer->second.endpoint->ExpiresAt();
    if (expiresAt <= now) {
      LOG_TRACE("Lost connection to endpoint {:s}:{:d}", ToText(peer->first), peer->first.port);
      peer = Forget(peer);
      continue;
    }
    next = std::min(next.value_or(expiresAt), expiresAt);
    ++peer;
  }
  if (Settled() < kMostSettled) mIsFullTold = false;
  mIsWatched = next.has_value();
  return next;
}

void CEthernetPeers::Clear() {
  const CMutexLock lock(mMutex);
  mNewcomers.clear();
  mPeers.clear();
  mIsWatched = false;
  mIsFullTold = false;
}
