#pragma once

#include <cstdint>
#include <optional>

/// Where a peer is in the sequence of packets that are exchanged with it. One thread at a time.
class CPeerSequence {
 public:
  /// How far a number may be ahead of the newest one: packets get lost.
  static constexpr std::uint32_t kFarthestAhead = 10;

  /// Nothing: nothing was exchanged yet.
  const std::optional<std::uint32_t>& Newest() const { return mNewest; }
  void SetNewest(std::optional<std::uint32_t> number) { mNewest = number; }
  /// The number for the next packet, which is the newest one from now on. Nothing, as before.
  std::optional<std::uint32_t> Next(bool advance) {
    if (mNewest && advance) ++*mNewest;
    return mNewest;
  }
  /// Whether a packet with that number is in its place. At first, any is.
  bool Fits(std::uint32_t number, bool advance) const {
    if (!mNewest) return true;
    return advance ? number - *mNewest - 1 < kFarthestAhead : number == *mNewest;
  }

 private:
  std::optional<std::uint32_t> mNewest;
};
