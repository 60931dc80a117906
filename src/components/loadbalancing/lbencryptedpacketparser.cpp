#include "src/components/loadbalancing/lbencryptedpacketparser.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/crypto/cryptoerror.h"
#include "platform/log/log.h"
#include "platform/utility/littleendian.h"
#include "src/components/loadbalancing/lbcipher.h"
#include "src/components/loadbalancing/lbenvelope.h"

namespace {

using PaddedBody = std::array<std::uint8_t, SLbEnvelope::kMostPadded>;

/// Whether it is a failure that was not told yet.
bool IsNews(int result, int& told) {
  return std::exchange(told, result) != result && result != 0;
}

SLbEnvelope EnvelopeOf(const SLbMessageKind& kind, bool isNetworkEndpoint) {
  return SLbEnvelope::Of(LbMessageSize(kind, isNetworkEndpoint), kind.hasSequenceNumber);
}

}  // namespace

CLbEncryptedPacketParser::CLbEncryptedPacketParser(std::unique_ptr<IRandomGenerator> random)
    : mCipher(std::make_unique<CLbCipher>()), mRandom(std::move(random)) {}

CLbEncryptedPacketParser::~CLbEncryptedPacketParser() = default;

bool CLbEncryptedPacketParser::Initialize(std::string_view password, std::uint16_t groupId) {
  LOG_ENTRY("CLbEncryptedPacketParser");
  if (const int result = mRandom->Init(); result != 0) {
    LOG_ERROR("wc_InitRng failed, rc={:d}, msg={:s}", result, CryptoErrorText(result));
    return false;
  }
  if (!mCipher->SetKey(password, groupId)) return false;
  LOG_INFO("Ethernet group load balancing encryption initialized");
  return true;
}

std::optional<std::uint32_t> CLbEncryptedPacketParser::GetPacketSize(std::uint8_t id,
                                                                     bool isNetworkEndpoint) const {
  const auto kind = FindLbMessageKind(id);
  if (!kind) return std::nullopt;
  return EnvelopeOf(*kind, isNetworkEndpoint).packetSize;
}

std::vector<std::uint8_t> CLbEncryptedPacketParser::Serialize(const SLbMessage& message, Endpoint* endpoint) {
  const auto kind = FindLbMessageKind(message.Id());
  if (!kind) return {};
  // What goes to everybody goes to a network.
  const SLbEnvelope envelope = EnvelopeOf(*kind, !endpoint || endpoint->IsNetworkEndpoint());
  if (envelope.bodySize == 0) return {message.Id()};

  std::optional<std::uint32_t> sequenceNumber;
  if (kind->hasSequenceNumber) {
    sequenceNumber = DrawSequenceNumber(endpoint, kind->advancesSequence);
    if (!sequenceNumber) return {};
  }
  const SLbMessage sealed = Sealed(message, static_cast<std::uint8_t>(envelope.messageSize));
  std::vector<std::uint8_t> packet(envelope.packetSize);
  packet.front() = sealed.Id();
  if (!Fill(packet, envelope, sealed, sequenceNumber)) return {};
  return packet;
}

std::optional<std::uint32_t> CLbEncryptedPacketParser::DrawSequenceNumber(Endpoint* endpoint, bool advance) {
  if (!endpoint) {
    LOG_ERROR("Cannot serialize message with metadata without endpoint to get it from");
    return std::nullopt;
  }
  const auto drawn = endpoint->GetMetadata(advance);
  if (IsNews(drawn ? 0 : 1, mToldOfSequenceNumber)) LOG_ERROR("Failed to generate new metadata");
  return drawn;
}

/// Everything behind the identifier.
bool CLbEncryptedPacketParser::Fill(std::span<std::uint8_t> packet, const SLbEnvelope& envelope,
                                    const SLbMessage& sealed, std::optional<std::uint32_t> sequenceNumber) {
  const auto parts = envelope.PartsOf(packet);
  if (sequenceNumber) {
    LittleEndian::Write32(*sequenceNumber, parts.sequenceNumber.first<SLbEnvelope::kSequenceNumberSize>());
  }
  int result = mRandom->GenerateBlock(parts.nonce);
  if (IsNews(result, mToldOfRandom)) {
    LOG_ERROR("wc_RNG_GenerateBlock failed, rc={:d}, msg={:s}", result, CryptoErrorText(result));
  }
  if (result != 0) return false;

  PaddedBody body;
  body.fill(static_cast<std::uint8_t>(envelope.Padding()));
  std::copy_n(sealed.bytes.begin() + SLbEnvelope::kIdentifierSize, envelope.bodySize, body.begin());
  result = mCipher->Encrypt(std::span(body).first(envelope.paddedSize), parts);
  if (IsNews(result, mToldOfEncryption)) {
    LOG_ERROR("wc_AesGcmEncrypt failed, rc={:d}, msg={:s}", result, CryptoErrorText(result));
  }
  return result == 0;
}

std::optional<SLbMessage> CLbEncryptedPacketParser::CheckAndCopy(std::uint8_t id,
                                                                 std::span<const std::uint8_t>& position,
                                                                 std::uint32_t size, Endpoint& endpoint) {
  const auto kind = FindLbMessageKind(id);
  const SLbEnvelope envelope = kind ? EnvelopeOf(*kind, endpoint.IsNetworkEndpoint()) : SLbEnvelope{};
  if (envelope.bodySize == 0 || size != envelope.packetSize || size > position.size()) {
    LOG_TRACE("Skipping invalid packet; msg=0x{:02x}, dms={}, dbs={}, ebs={}, eps={}, hm={}", id,
              envelope.messageSize, envelope.bodySize, envelope.paddedSize, envelope.packetSize,
              envelope.hasSequenceNumber ? "yes" : "no");
    return std::nullopt;
  }

  const auto parts = envelope.PartsOf(position.first(size));
  std::optional<std::uint32_t> sequenceNumber;
  if (envelope.hasSequenceNumber) {
    sequenceNumber = LittleEndian::Read32(parts.sequenceNumber.first<SLbEnvelope::kSequenceNumberSize>());
    if (!endpoint.ValidateMetadata(*sequenceNumber, kind->advancesSequence)) {
      LOG_TRACE("Invalid metadata for message with id 0x{:02x} for endpoint {}", id, endpoint.ToString());
      return std::nullopt;
    }
  }
  const auto message = Open(id, envelope, parts);
  if (!message || !IsFirst(id, parts.nonce, endpoint)) return std::nullopt;
  endpoint.AcceptMetadata(sequenceNumber);
  position = position.subspan(size);
  return message;
}

/// Nothing: it is not the group's, or damaged.
std::optional<SLbMessage> CLbEncryptedPacketParser::Open(std::uint8_t id, const SLbEnvelope& envelope,
                                                         const SLbPacketParts<const std::uint8_t>& parts) {
  PaddedBody body;
  const auto padded = std::span(body).first(envelope.paddedSize);
  if (const int result = mCipher->Decrypt(parts, padded); result != 0) {
    LOG_DEBUG("wc_AesGcmDecrypt failed, rc={:d}, msg={:s}", result, CryptoErrorText(result));
    return std::nullopt;
  }
  const std::uint32_t padding = envelope.Padding();
  if (!std::ranges::all_of(padded.last(padding), [padding](std::uint8_t byte) { return byte == padding; })) {
    LOG_DEBUG("Decryption failed, padding bytes do not match padding size ({:d})", padding);
    return std::nullopt;
  }
  SLbMessage message;
  message.bytes.front() = id;
  std::copy_n(body.begin(), envelope.bodySize, message.bytes.begin() + SLbEnvelope::kIdentifierSize);
  return Checked(std::span(message.bytes).first(envelope.messageSize));
}

/// Sequence numbers do not show a packet that comes again from another address: whoever has sent nothing yet
/// may begin with any.
bool CLbEncryptedPacketParser::IsFirst(std::uint8_t id, std::span<const std::uint8_t> nonce,
                                       const Endpoint& endpoint) {
  const auto fixed = nonce.first<SLbEnvelope::kNonceSize>();
  if (mReplayGuard.Knows(fixed)) {
    LOG_DEBUG("Message with id 0x{:02x} from endpoint {} was received before", id, endpoint.ToString());
    return false;
  }
  mReplayGuard.Remember(fixed);
  return true;
}
