#include "src/components/loadbalancing/lbreplayguard.h"

#include <algorithm>

#include "platform/utility/littleendian.h"

CLbReplayGuard::CLbReplayGuard() : mSets(kSets) {}

bool CLbReplayGuard::Knows(Nonce nonce) const {
  const SSet& set = mSets[SetOf(nonce)];
  const auto used = std::span(set.marks).first(set.used);
  return std::ranges::find(used, MarkOf(nonce)) != used.end();
}

void CLbReplayGuard::Remember(Nonce nonce) {
  SSet& set = mSets[SetOf(nonce)];
  if (set.used < kNoncesPerSet) {
    set.marks[set.used++] = MarkOf(nonce);
    return;
  }
  set.marks[set.oldest] = MarkOf(nonce);
  set.oldest = (set.oldest + 1) % kNoncesPerSet;
}

std::uint64_t CLbReplayGuard::MarkOf(Nonce nonce) {
  return std::uint64_t{LittleEndian::Read32(nonce.first<4>())} << 32U |
         LittleEndian::Read32(nonce.subspan<4, 4>());
}

std::size_t CLbReplayGuard::SetOf(Nonce nonce) {
  return LittleEndian::Read32(nonce.last<4>()) % kSets;
}
