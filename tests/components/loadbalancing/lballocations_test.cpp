#include <cstdlib>

#include <gtest/gtest.h>
#include <wolfssl/options.h>
#include <wolfssl/wolfcrypt/memory.h>

#include "platform/crypto/wolfrandom.h"
#include "src/components/loadbalancing/lbencryptedpacketparser.h"
#include "support/allocations.h"
#include "support/scriptedpeer.h"

namespace {

/// Takings of memory by the cryptographic library.
std::uint64_t sTaken = 0;

TEST(LbEncryptedPacketParser, TakesNoMemoryButTheResults) {
  wolfSSL_SetAllocators([](std::size_t size) { return ++sTaken, std::malloc(size); }, std::free,
                        [](void* old, std::size_t size) { return ++sTaken, std::realloc(old, size); });
  CLbEncryptedPacketParser parser(std::make_unique<CWolfRandom>());
  parser.Initialize("abc", 7);
  EXPECT_GT(sTaken, 0U);  // so it counts
  const auto peer = std::make_shared<CScriptedPeer>();
  peer->mSequence.SetNewest(1);
  peer->mReceived.reserve(61);
  int found = 0;
  parser.SetMessageHandler([&found](const auto&, const auto&) { ++found; });
  const SLbMessage answer = LbMessages::Write(LbMessages::SLimitAnswer{});
  const std::uint64_t before = AllocationsOfThisThread() + sTaken;
  for (int time = 0; time < 100; ++time) {
    const std::vector<std::uint8_t> packet = parser.Serialize(answer, peer.get());
    peer->mReceived.assign(packet.begin(), packet.end());
    parser.Parse(peer);
  }
  EXPECT_EQ(AllocationsOfThisThread() + sTaken - before, 100U);
  EXPECT_EQ(found, 100);
  wolfSSL_SetAllocators(nullptr, nullptr, nullptr);
}

}  // namespace
