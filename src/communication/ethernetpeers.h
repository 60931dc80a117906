#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <optional>

#include "platform/network/udpaddress.h"
#include "platform/utility/mutex.h"
#include "src/communication/ethernetendpoint.h"

/// The peers that are known, by where they send from. Any thread.
///
/// Anybody on the network can make up senders, so those from whom nothing valid has come are newcomers, of
/// whom only a few are kept: however many there are, they take no place from those who have settled.
class CEthernetPeers {
 public:
  using Peer = std::shared_ptr<CEthernetCommunication::CEndpoint>;
  /// Then the oldest newcomer goes.
  static constexpr std::size_t kMostNewcomers = 64;
  /// Then nobody else settles, which is told: newcomers are heard, but soon forgotten.
  static constexpr std::size_t kMostSettled = 256;

  struct SFound {
    Peer peer;
    bool isNewcomer = false;
    bool isFirst = false;  ///< nobody calls `Expire` any more: do so
  };

  explicit CEthernetPeers(std::shared_ptr<CEthernetLink> link) : mLink(std::move(link)) {}

  /// Takes memory only for one who was not known.
  SFound FindOrAdd(const SUdpAddress& address) EXCLUDES(mMutex);
  /// Something valid has come from that newcomer.
  void Settle(const SUdpAddress& address) EXCLUDES(mMutex);
  /// Forgets those whose time has come. When to call it again; nothing: not before the next first one.
  std::optional<TimePoint> Expire() EXCLUDES(mMutex);
  void Clear() EXCLUDES(mMutex);

 private:
  struct SPeer {
    Peer endpoint;
    bool isNewcomer = true;
  };
  using Peers = std::map<SUdpAddress, SPeer>;

  Peers::iterator Forget(Peers::iterator peer) REQUIRES(mMutex);
  std::size_t Settled() const REQUIRES(mMutex) { return mPeers.size() - mNewcomers.size(); }

  const std::shared_ptr<CEthernetLink> mLink;

  CMutex mMutex;
  Peers mPeers GUARDED_BY(mMutex);
  std::deque<Peers::iterator> mNewcomers GUARDED_BY(mMutex);  // oldest first
  bool mIsWatched GUARDED_BY(mMutex) = false;
  bool mIsFullTold GUARDED_BY(mMutex) = false;
};
