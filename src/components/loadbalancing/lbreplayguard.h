#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "src/components/loadbalancing/lbenvelope.h"

/// Remembers the newest packets by their nonces, of which an honest sender never uses one twice. The memory
/// that it takes is fixed: 8192 nonces, 68 kB. One thread at a time.
///
/// Nonces are spread over small sets by some of their bits; a full set forgets its oldest. Only those who
/// have the key can put one in.
class CLbReplayGuard {
 public:
  using Nonce = std::span<const std::uint8_t, SLbEnvelope::kNonceSize>;

  static constexpr std::size_t kSets = 512;
  static constexpr std::size_t kNoncesPerSet = 16;

  CLbReplayGuard();

  bool Knows(Nonce nonce) const;
  void Remember(Nonce nonce);

 private:
  struct SSet {
    /// Eight bytes of each: enough to take no other for it by chance.
    std::array<std::uint64_t, kNoncesPerSet> marks{};
    std::uint32_t used = 0;
    std::uint32_t oldest = 0;
  };

  static std::uint64_t MarkOf(Nonce nonce);
  static std::size_t SetOf(Nonce nonce);

  std::vector<SSet> mSets;
};
