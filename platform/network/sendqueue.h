#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/network/udpaddress.h"

/// Datagrams that wait to be sent, oldest first, in places that are used again and again: once each place has
/// held a datagram, no memory is taken for others of its size. One thread at a time.
class CSendQueue {
 public:
  static constexpr std::size_t kMost = 128;

  struct SDatagram {
    std::vector<std::uint8_t> data;
    SUdpAddress to;
  };

  bool IsEmpty() const { return mCount == 0; }

  /// False: it is full.
  bool Push(std::span<const std::uint8_t> data, const SUdpAddress& to) {
    if (mCount == kMost) return false;
    SDatagram& place = mPlaces[(mFirst + mCount) % kMost];
    place.data.assign(data.begin(), data.end());
    place.to = to;
    ++mCount;
    return true;
  }

  /// The oldest, which stays where it is until `Pop`, whatever is pushed meanwhile.
  const SDatagram& Front() const { return mPlaces[mFirst]; }
  void Pop() {
    mFirst = (mFirst + 1) % kMost;
    --mCount;
  }

 private:
  std::array<SDatagram, kMost> mPlaces;
  std::size_t mFirst = 0;
  std::size_t mCount = 0;
};
