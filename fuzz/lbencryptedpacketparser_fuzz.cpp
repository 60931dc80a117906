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

namespace Checks {
namespace {

using LbModel::Bytes;

constexpr std::uint16_t kGroup = 1;
constexpr std::size_t kMostSteps = 64;

/// The fuzzer watches comparisons, and so it learns packets of earlier inputs and puts them into later ones.
struct SLearntPacket {};

/// Never the same twice in this process.
class CCounter final : public IRandomGenerator {
 public:
  int Init() override { return 0; }
  int GenerateBlock(std::span<std::uint8_t> block) override {
    ++mCount;
    for (std::size_t at = 0; at < block.size(); ++at)
      block[at] = static_cast<std::uint8_t>(mCount >> at % 4 * 8U);
    return 0;
  }

 private:
  std::uint32_t mCount = 0;
};

/// Who has the key, which takes long to derive and so is kept from input to input. It is another in each
/// process: none of the inputs that are kept holds a packet that it opens.
struct SMember {
  SMember() {
    const std::string password = fmt::format("{}", std::random_device{}());
    Require(parser.Initialize(password, kGroup) && cipher.SetKey(password, kGroup), "there is a key");
    Log::SetLogLevel(Log::ELogLevel::Trace);  // to no sink, but every line is made
  }
  CLbEncryptedPacketParser parser{std::make_unique<CCounter>()};
  CLbCipher cipher;
  CCounter nonces;
};

SMember& Member() {
  static SMember member;
  return member;
}

/// What the input says to be done, byte by byte; zeros when it ends.
class CScript {
 public:
  explicit CScript(std::span<const std::uint8_t> bytes) : mBytes(bytes) {}

  bool IsOver() const { return mBytes.empty(); }
  std::uint8_t Next() {
    if (mBytes.empty()) return 0;
    const std::uint8_t next = mBytes.front();
    mBytes = mBytes.subspan(1);
    return next;
  }
  std::size_t Below(std::size_t bound) { return Next() % bound; }

 private:
  std::span<const std::uint8_t> mBytes;
};

/// A packet made under the key.
struct SKnown {
  Bytes packet = {};
  Bytes plain = {};  ///< what is encrypted in it
  std::uint32_t number = 0;
  bool isTaken = false;
};

struct SPeer {
  std::shared_ptr<CScriptedPeer> real = std::make_shared<CScriptedPeer>();
  Bytes waiting;
  std::optional<std::uint32_t> number;
  int accepted = 0;
};

class CGroup {
 public:
  explicit CGroup(std::span<const std::uint8_t> input) : mScript(input) {}

  void Run() {
    for (std::size_t step = 0; step < kMostSteps && !mScript.IsOver(); ++step) {
      SPeer& peer = mPeers[mScript.Below(mPeers.size())];
      Send(Harmed(NextPacket(peer)), peer);
      if (mScript.Below(4) != 0) Receive(peer);
    }
    for (SPeer& peer : mPeers) Receive(peer);
  }

 private:
  Bytes NextPacket(const SPeer& peer) {
    const std::size_t choice = mScript.Below(8);
    if (choice == 7) return SomeBytes(mScript.Below(64));
    if (choice > 4 && !mKnown.empty()) return mKnown[mScript.Below(mKnown.size())].packet;
    const LbModel::SKind& kind = LbModel::kKinds[mScript.Below(LbModel::kKinds.size())];
    const std::uint32_t ahead = mScript.Next() - 4U;
    const std::uint32_t number = peer.number.value_or(0) + ahead;
    Bytes message{kind.id};
    while (message.size() + 1 < kind.size) message.push_back(mScript.Next());
    message.push_back(LbModel::ChecksumOf(message));
    mKnown.push_back(choice < 3 ? Serialized(kind, message, number) : Encrypted(kind, message, number));
    return mKnown.back().packet;
  }

  Bytes SomeBytes(std::size_t count) {
    Bytes bytes(count);
    for (std::uint8_t& byte : bytes) byte = mScript.Next();
    return bytes;
  }

  static Bytes Padded(const Bytes& message) {
    const std::size_t body = message.size() - 1;
    const std::size_t padded = (body + 15) / 16 * 16;
    Bytes plain(message.begin() + 1, message.end());
    plain.resize(padded, static_cast<std::uint8_t>(padded - body));
    return plain;
  }

  /// As an honest member sends it.
  static SKnown Serialized(const LbModel::SKind& kind, const Bytes& bytes, std::uint32_t number) {
    CScriptedPeer to;
    to.mSequence = number - (kind.advances ? 1 : 0);
    SLbMessage message;
    std::ranges::copy(bytes, message.bytes.begin());
    return {.packet = Member().parser.Serialize(message, &to), .plain = Padded(bytes), .number = number};
  }

  /// As a member may that makes mistakes: any checksum, any padding.
  SKnown Encrypted(const LbModel::SKind& kind, const Bytes& bytes, std::uint32_t number) {
    SKnown known{.plain = Padded(bytes), .number = number};
    const std::uint8_t change = mScript.Next();
    known.plain[mScript.Below(known.plain.size())] ^= change;
    const std::size_t ofNumber = kind.hasNumber ? 4 : 0;
    known.packet.resize(1 + known.plain.size() + ofNumber + 24);
    known.packet.front() = kind.id;
    const auto rest = std::span(known.packet).subspan(1);
    const SLbPacketParts<std::uint8_t> parts{rest.first(known.plain.size()),
                                             rest.subspan(known.plain.size(), ofNumber),
                                             rest.last(24).first(12), rest.last(12)};
    if (kind.hasNumber) LittleEndian::Write32(number, parts.sequenceNumber.first<4>());
    Member().nonces.GenerateBlock(parts.nonce);
    parts.nonce[3] = 0xff;  // where the parser's own do not come
    Require(Member().cipher.Encrypt(known.plain, parts) == 0, "any body can be encrypted");
    return known;
  }

  Bytes Harmed(Bytes packet) {
    const std::size_t choice = mScript.Below(8);
    if (packet.empty() || choice > 3) return packet;
    const std::size_t at = mScript.Below(packet.size());
    if (choice == 0) packet[at] ^= static_cast<std::uint8_t>(1U << mScript.Below(8));
    if (choice == 1) packet.resize(at);
    if (choice == 2) packet.insert(packet.begin(), at, 0x99);
    if (choice == 3) packet.front() = LbModel::kKinds[at % LbModel::kKinds.size()].id;
    return packet;
  }

  static void Send(const Bytes& bytes, SPeer& peer) {
    peer.waiting.insert(peer.waiting.end(), bytes.begin(), bytes.end());
    peer.real->mReceived.insert(peer.real->mReceived.end(), bytes.begin(), bytes.end());
  }

  void Receive(SPeer& peer) {
    std::vector<std::array<std::uint8_t, SLbMessage::kSize>> found;
    Member().parser.SetMessageHandler(
        [&](const auto& message, const auto&) { found.push_back(message.bytes); });
    Member().parser.Parse(peer.real);
    std::size_t expected = 0;
    std::span<const std::uint8_t> rest = peer.waiting;
    while (!rest.empty()) {
      const LbModel::SKind* const kind = LbModel::KindOf(rest.front());
      const std::size_t size = kind ? 1 + (kind->size + 14) / 16 * 16 + (kind->hasNumber ? 4 : 0) + 24 : 1;
      if (size > rest.size()) break;
      const auto message = kind ? Take(*kind, rest.first(size), peer) : std::nullopt;
      if (message) {
        Require(expected < found.size(), "it is found");
        Require(std::ranges::equal(*message, std::span(found[expected++]).first(kind->size)), "as it was");
      }
      rest = rest.subspan(message ? size : 1);
    }
    Require(expected == found.size(), "nothing else is found");
    peer.waiting.erase(peer.waiting.begin(), peer.waiting.end() - static_cast<std::ptrdiff_t>(rest.size()));
    Require(peer.waiting == peer.real->mReceived, "the same waits for more");
    Require(peer.number == peer.real->mSequence && peer.accepted == peer.real->mAccepted,
            "what is refused leaves no trace");
  }

  /// Nothing: it is not to be taken from that peer, now.
  std::optional<Bytes> Take(const LbModel::SKind& kind, std::span<const std::uint8_t> packet, SPeer& peer) {
    // The identifier stands outside of what the key protects.
    const auto known = std::ranges::find_if(mKnown, [&](const SKnown& each) {
      return std::ranges::equal(std::span(each.packet).subspan(1), packet.subspan(1));
    });
    if (known == mKnown.end() && IsAuthentic(packet)) throw SLearntPacket{};
    if (known == mKnown.end() || known->isTaken) return std::nullopt;
    Bytes message{kind.id};
    message.insert(message.end(), known->plain.begin(), known->plain.end());
    message.resize(kind.size);
    const bool isWhole = Padded(message) == known->plain &&
                         LbModel::ChecksumOf(std::span(message).first(kind.size - 1)) == message.back();
    if (!isWhole) return std::nullopt;
    if (kind.hasNumber && peer.number) {
      const std::uint32_t ahead = known->number - *peer.number;
      if (kind.advances ? ahead == 0 || ahead > 10 : ahead != 0) return std::nullopt;
    }
    if (kind.hasNumber) peer.number = known->number;
    ++peer.accepted;
    known->isTaken = true;
    return message;
  }

  static bool IsAuthentic(std::span<const std::uint8_t> packet) {
    const auto rest = packet.subspan(1);
    const std::size_t padded = (packet.size() - 25) / 16 * 16;
    Bytes plain(padded);
    return Member().cipher.Decrypt({rest.first(padded), rest.subspan(padded, packet.size() - 25 - padded),
                                    rest.last(24).first(12), rest.last(12)},
                                   plain) == 0;
  }

  CScript mScript;
  std::vector<SKnown> mKnown;
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
