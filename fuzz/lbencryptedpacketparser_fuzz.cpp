#include <algorithm>
#include <array>
#include <optional>
#include <random>
#include <string>

#include <fmt/format.h>

#include "fuzz/checks.h"
#include "fuzz/lbmodel.h"
#include "fuzz/require.h"
#include "platform/log/log.h"
#include "platform/utility/littleendian.h"
#include "src/components/loadbalancing/lbcipher.h"
#include "src/components/loadbalancing/lbencryptedpacketparser.h"
#include "support/scriptedpeer.h"
#include "support/scriptedrandom.h"

namespace Checks {
namespace {

using LbModel::Bytes;

/// The fuzzer watches comparisons, and so it learns packets of earlier inputs and puts them into later ones.
struct SLearntPacket {};

/// Who has the key, which takes long to derive and so is kept from input to input. It is another in each
/// process: none of the inputs that are kept holds a packet that it opens.
struct SMember {
  SMember() {
    const std::string password = fmt::format("{}", std::random_device{}());
    Require(parser.Initialize(password, 1) && cipher.SetKey(password, 1), "there is a key");
    Log::SetLogLevel(Log::ELogLevel::Trace);  // to no sink, but every line is made
  }
  CScriptedRandom::SScript random;
  CLbEncryptedPacketParser parser{std::make_unique<CScriptedRandom>(random)};
  CLbCipher cipher;
  std::uint32_t made = 0;  ///< packets; the nonce of each is its number
};

SMember& Member() {
  static SMember member;
  return member;
}

/// A packet made under the key.
struct SMade {
  Bytes packet = {};
  Bytes plain = {};  ///< what is encrypted in it
  std::uint32_t number = 0;
  bool isTaken = false;
};

struct SPeer {
  std::shared_ptr<CScriptedPeer> real = std::make_shared<CScriptedPeer>();
  std::optional<std::uint32_t> number;
  int accepted = 0;
};

/// Where the parts of a packet are that has so much behind its identifier.
template <typename TByte>
SLbPacketParts<TByte> PartsOf(std::span<TByte> rest) {
  const std::size_t padded = (rest.size() - 24) / 16 * 16;
  return {rest.first(padded), rest.subspan(padded, rest.size() - 24 - padded), rest.last(24).first(12),
          rest.last(12)};
}

Bytes Padded(const Bytes& message) {
  Bytes plain(message.begin() + 1, message.end());
  const std::size_t missing = 15 - (plain.size() + 15) % 16;
  plain.resize(plain.size() + missing, static_cast<std::uint8_t>(missing));
  return plain;
}

std::size_t PacketSize(const LbModel::SKind& kind) {
  return 1 + (kind.size + 14) / 16 * 16 + (kind.hasNumber ? 4 : 0) + 24;
}

/// Does what the script says, byte by byte, which says zeros behind its end.
class CGroup {
 public:
  explicit CGroup(std::span<const std::uint8_t> script) : mScript(script) {}

  void Run() {
    for (int step = 0; step < 64 && !mScript.empty(); ++step) {
      SPeer& peer = mPeers[Below(mPeers.size())];
      const Bytes sent = Harmed(NextPacket(peer));
      peer.real->mReceived.insert(peer.real->mReceived.end(), sent.begin(), sent.end());
      if (Below(4) != 0) Receive(peer);
    }
    for (SPeer& peer : mPeers) Receive(peer);
  }

 private:
  std::uint8_t Next() {
    if (mScript.empty()) return 0;
    const std::uint8_t next = mScript.front();
    mScript = mScript.subspan(1);
    return next;
  }
  std::size_t Below(std::size_t bound) { return Next() % bound; }

  Bytes NextPacket(const SPeer& peer) {
    const std::size_t choice = Below(8);
    if (choice == 7) {
      Bytes bytes(Below(64));
      for (std::uint8_t& byte : bytes) byte = Next();
      return bytes;
    }
    if (choice > 4 && !mMade.empty()) return mMade[Below(mMade.size())].packet;
    const LbModel::SKind& kind = LbModel::kKinds[Below(LbModel::kKinds.size())];
    SMade& made = mMade.emplace_back(SMade{.number = peer.number.value_or(0) + Next() - 4U});
    Bytes message{kind.id};
    while (message.size() + 1 < kind.size) message.push_back(Next());
    message.push_back(LbModel::ChecksumOf(message));
    made.plain = Padded(message);
    // A member may make mistakes: any checksum, any padding.
    const std::uint8_t change = choice > 2 ? Next() : 0;
    if (choice > 2) made.plain[Below(made.plain.size())] ^= change;
    Encrypt(kind, made);
    return made.packet;
  }

  static void Encrypt(const LbModel::SKind& kind, SMade& made) {
    made.packet.assign(PacketSize(kind), kind.id);
    const auto parts = PartsOf(std::span(made.packet).subspan(1));
    if (kind.hasNumber) LittleEndian::Write32(made.number, parts.sequenceNumber.first<4>());
    ++Member().made;
    for (const std::size_t at : {0U, 4U, 8U})
      LittleEndian::Write32(Member().made, parts.nonce.subspan(at).first<4>());
    Require(Member().cipher.Encrypt(made.plain, parts) == 0, "any body can be encrypted");
  }

  Bytes Harmed(Bytes packet) {
    const std::size_t choice = Below(8);
    if (packet.empty() || choice > 3) return packet;
    const std::size_t at = Below(packet.size());
    if (choice == 0) packet[at] ^= static_cast<std::uint8_t>(1U << Below(8));
    if (choice == 1) packet.resize(at);
    if (choice == 2) packet.insert(packet.begin(), at, 0x99);
    if (choice == 3) packet.front() = LbModel::kKinds[at % LbModel::kKinds.size()].id;
    return packet;
  }

  void Receive(SPeer& peer) {
    const Bytes waiting = peer.real->mReceived;
    std::vector<std::array<std::uint8_t, SLbMessage::kSize>> found;
    Member().parser.SetMessageHandler(
        [&](const auto& message, const auto&) { found.push_back(message.bytes); });
    Member().parser.Parse(peer.real);
    std::size_t expected = 0;
    std::span<const std::uint8_t> rest = waiting;
    while (!rest.empty()) {
      const LbModel::SKind* const kind = LbModel::KindOf(rest.front());
      const std::size_t size = kind ? PacketSize(*kind) : 1;
      if (size > rest.size()) break;
      const auto message = kind ? Take(*kind, rest.first(size), peer) : std::nullopt;
      if (message) {
        Require(expected < found.size(), "it is found");
        Require(std::ranges::equal(*message, std::span(found[expected++]).first(kind->size)), "as it was");
      }
      rest = rest.subspan(message ? size : 1);
    }
    Require(expected == found.size(), "nothing else is found");
    Require(std::ranges::equal(rest, peer.real->mReceived), "the same waits for more");
    Require(peer.number == peer.real->mSequence.Newest() && peer.accepted == peer.real->mAccepted,
            "what is refused leaves no trace");
  }

  /// Nothing: it is not to be taken from that peer, now.
  std::optional<Bytes> Take(const LbModel::SKind& kind, std::span<const std::uint8_t> packet, SPeer& peer) {
    // The identifier stands outside of what the key protects.
    const auto made = std::ranges::find_if(mMade, [&](const SMade& each) {
      return std::ranges::equal(std::span(each.packet).subspan(1), packet.subspan(1));
    });
    const auto nonce = PartsOf(packet.subspan(1)).nonce;
    const std::uint32_t number = LittleEndian::Read32(nonce.first<4>());
    const bool isOld =
        number != 0 && number <= mMadeBefore && std::ranges::equal(nonce.first(4), nonce.last(4));
    if (made == mMade.end() && isOld) throw SLearntPacket{};
    if (made == mMade.end() || made->isTaken) return std::nullopt;
    Bytes message{kind.id};
    message.insert(message.end(), made->plain.begin(), made->plain.end());
    message.resize(kind.size);
    const bool isWhole = Padded(message) == made->plain &&
                         LbModel::ChecksumOf(std::span(message).first(kind.size - 1)) == message.back();
    if (!isWhole) return std::nullopt;
    if (kind.hasNumber && peer.number) {
      const std::uint32_t ahead = made->number - *peer.number;
      if (kind.advances ? ahead == 0 || ahead > 10 : ahead != 0) return std::nullopt;
    }
    if (kind.hasNumber) peer.number = made->number;
    ++peer.accepted;
    made->isTaken = true;
    return message;
  }

  std::span<const std::uint8_t> mScript;
  const std::uint32_t mMadeBefore = Member().made;
  std::vector<SMade> mMade;
  std::array<SPeer, 3> mPeers;
};

}  // namespace

void LbEncryptedPacketParser(std::span<const std::uint8_t> input) {
  try {
    CGroup(input).Run();
  } catch (const SLearntPacket&) {
    return;
  }
}

}  // namespace Checks
