#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/network/network.h"
#include "simulation/multicastmedium.h"

class CMulticastSocket;

/// A station's place on a CMulticastMedium. One thread.
class CMulticastStation final : public INetwork {
 public:
  using SDatagram = CMulticastMedium::SDatagram;

  CMulticastStation(CMulticastMedium& medium, IScheduler& scheduler, MediumStation number,
                    std::string adapter)
      : mMedium(medium), mScheduler(scheduler), mNumber(number), mAdapter(std::move(adapter)) {}

  std::uint32_t FindInterfaceIndex(const std::string& adapter) const override;
  std::unique_ptr<IUdpSocket> CreateUdpSocket(const std::string& threadName) override;

  MediumStation Number() const { return mNumber; }
  void SetAdapterPresent(bool isPresent);
  bool IsMeant(const SUdpAddress& to) const;
  /// Something has been sent to the station.
  void Hear(const SDatagram& datagram, Milliseconds delay);

  // For its sockets.
  void Add(CMulticastSocket& socket) { mSockets.push_back(&socket); }
  void Remove(const CMulticastSocket& socket);
  bool IsTaken(std::uint16_t port, bool isReuseAllowed) const;
  /// Whether that is the adapter as it is now; 0 is any.
  bool HasAdapter(std::uint32_t index) const { return mIndex != 0 && (index == 0 || index == mIndex); }
  void Send(SDatagram datagram, bool isLoopedBack);
  /// One of them is about to hand it over.
  void ShowArrival(const SDatagram& datagram) const;

 private:
  static constexpr std::uint32_t kFirstIndex = 2;  // 1 is the loopback adapter's on every machine

  CMulticastMedium& mMedium;
  IScheduler& mScheduler;
  const MediumStation mNumber;
  const std::string mAdapter;
  std::uint32_t mIndex = kFirstIndex;  // 0: it is not there
  std::uint32_t mNextIndex = kFirstIndex + 1;
  std::vector<CMulticastSocket*> mSockets;  // that are open
};
