#include <algorithm>

#include "fuzz/checks.h"
#include "fuzz/lbmodel.h"
#include "fuzz/require.h"
#include "src/components/loadbalancing/lbpacketparser.h"
#include "support/scriptedpeer.h"

namespace Checks {
namespace {

using LbModel::Bytes;

/// Messages, and what is left behind the last.
using Found = std::vector<Bytes>;

/// 0: no message begins so.
std::size_t SizeOf(std::uint8_t id, bool isNetwork) {
  const LbModel::SKind* const kind = LbModel::KindOf(id);
  if (!kind) return 0;
  return id == 0x33 && !isNetwork ? 1 : kind->size;
}

/// By looking at everything at once.
Found Expected(std::span<const std::uint8_t> bytes, bool isNetwork) {
  Found expected;
  while (!bytes.empty()) {
    const std::size_t size = SizeOf(bytes.front(), isNetwork);
    if (size > bytes.size()) break;
    const auto message = bytes.first(size);
    const bool isMessage =
        size == 1 || (size > 1 && LbModel::ChecksumOf(message.first(size - 1)) == message.back());
    if (isMessage) expected.emplace_back(message.begin(), message.end());
    bytes = bytes.subspan(isMessage ? size : 1);
  }
  expected.emplace_back(bytes.begin(), bytes.end());
  return expected;
}

Found Parsed(std::span<const std::uint8_t> bytes, bool isNetwork, std::size_t piece) {
  CLbPacketParser parser;
  const auto peer = std::make_shared<CScriptedPeer>(isNetwork);
  Found found;
  parser.SetMessageHandler([&](const SLbMessage& message, const auto& from) {
    found.push_back(parser.Serialize(message, from.get()));
  });
  while (!bytes.empty()) {
    const auto next = bytes.first(std::min(bytes.size(), piece));
    peer->mReceived.insert(peer->mReceived.end(), next.begin(), next.end());
    parser.Parse(peer);
    bytes = bytes.subspan(next.size());
  }
  found.push_back(peer->mReceived);
  return found;
}

/// Each message that begins gets its checksum.
Bytes Mended(std::span<const std::uint8_t> bytes, bool isNetwork) {
  Bytes mended(bytes.begin(), bytes.end());
  std::span<std::uint8_t> rest = mended;
  while (!rest.empty()) {
    const std::size_t size = std::max<std::size_t>(SizeOf(rest.front(), isNetwork), 1);
    if (size > rest.size()) break;
    if (size > 1) rest[size - 1] = LbModel::ChecksumOf(rest.first(size - 1));
    rest = rest.subspan(size);
  }
  return mended;
}

}  // namespace

void LbPacketParser(std::span<const std::uint8_t> input) {
  if (input.empty()) return;
  const bool isNetwork = (input.front() & 1U) != 0;
  const std::size_t piece = 1U + (input.front() >> 1U);
  for (const Bytes& bytes : {Bytes(input.begin() + 1, input.end()), Mended(input.subspan(1), isNetwork)}) {
    const Found expected = Expected(bytes, isNetwork);
    Require(Parsed(bytes, isNetwork, bytes.size() + 1) == expected, "all at once holds the messages");
    Require(Parsed(bytes, isNetwork, piece) == expected, "pieces hold the same");
  }
}

}  // namespace Checks
