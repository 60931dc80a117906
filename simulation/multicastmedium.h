#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/network/network.h"
#include "platform/worker/scheduler.h"
#include "simulation/hearing.h"
#include "simulation/random.h"

class CMulticastStation;

/// What goes wrong with datagrams on their way, for each hearer anew.
struct SMediumFaults {
  Milliseconds shortestDelay{0};
  Milliseconds longestDelay{0};  ///< whatever was sent within the range may be overtaken
  // Out of 1000.
  std::uint32_t loss = 0;
  std::uint32_t duplication = 0;
  std::uint32_t corruption = 0;  ///< bits of a byte flip
  std::uint32_t truncation = 0;  ///< the end is missing
};

/// A link over which stations reach each other by IPv6, in virtual time: station N is fe80::N there, on an
/// adapter of its own. Datagrams come with a delay, or they do not come, as the faults say; the seed decides,
/// so that a run repeats exactly.
///
/// Handlers run on a worker of each socket, never inside of a call from outside. One thread.
class CMulticastMedium {
 public:
  struct SDatagram {
    std::vector<std::uint8_t> data;
    SUdpAddress from;
    SUdpAddress to;
  };
  using Tap = std::function<void(const SDatagram& datagram)>;
  using ArrivalTap = std::function<void(MediumStation to, const SDatagram& datagram)>;

  /// The most that a datagram can hold.
  static constexpr std::size_t kLargestDatagram = 65527;

  CMulticastMedium(IScheduler& scheduler, std::uint64_t seed);
  ~CMulticastMedium();
  CMulticastMedium(const CMulticastMedium&) = delete;
  CMulticastMedium& operator=(const CMulticastMedium&) = delete;

  /// A station's network, with one adapter, which is there. Each station once. Must not outlive the medium.
  std::shared_ptr<INetwork> Attach(MediumStation station, const std::string& adapter = "eth0");
  static SUdpAddress AddressOf(MediumStation station, std::uint16_t port);

  void SetFaults(const SMediumFaults& faults) { mFaults = faults; }
  /// Besides, with whatever that station sends and hears.
  void SetFaults(MediumStation station, const SMediumFaults& faults) { mFaultsOf[station] = faults; }
  void Split(CHearing::Parts parts) { mHearing.Split(std::move(parts)); }
  /// An adapter that vanishes takes the group memberships with it, and comes back with another index.
  void SetAdapterPresent(MediumStation station, bool isPresent);

  /// Gets to see whatever a station sends, as it was sent.
  void SetTap(Tap tap) { mTap = std::move(tap); }
  /// Gets to see whatever a station is about to be handed. On the workers of its sockets.
  void SetArrivalTap(ArrivalTap tap) { mArrivalTap = std::move(tap); }
  /// A datagram to that station alone, at once, as if from any address and port.
  void Inject(MediumStation to, std::uint16_t port, const SUdpAddress& from,
              std::span<const std::uint8_t> data);

 private:
  friend class CMulticastStation;

  void Carry(const CMulticastStation& sender, const SDatagram& datagram);
  void Deliver(MediumStation from, CMulticastStation& hearer, const SDatagram& datagram);
  SDatagram Spoiled(const SDatagram& datagram, std::span<const SMediumFaults> faults);

  IScheduler& mScheduler;
  CRandom mRandom;
  std::map<MediumStation, std::shared_ptr<CMulticastStation>> mStations;
  SMediumFaults mFaults;
  std::map<MediumStation, SMediumFaults> mFaultsOf;
  CHearing mHearing;
  Tap mTap;
  ArrivalTap mArrivalTap;
};
