#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

/// The parts of a packet on a network, in their order, behind the message's identifier.
template <typename TByte>
struct SLbPacketParts {
  std::span<TByte> ciphertext;
  std::span<TByte> sequenceNumber;  ///< empty: the message carries none
  std::span<TByte> nonce;
  std::span<TByte> tag;
};

/// How the message that a packet carries is laid out in it: how many bytes it has, of what.
struct SLbEnvelope {
  static constexpr std::uint32_t kIdentifierSize = 1;
  static constexpr std::uint32_t kPaddedTo = 16;
  static constexpr std::uint32_t kSequenceNumberSize = 4;
  static constexpr std::uint32_t kNonceSize = 12;
  static constexpr std::uint32_t kTagSize = 12;
  /// Of the largest message.
  static constexpr std::uint32_t kMostPadded = 32;

  std::uint32_t messageSize = 0;
  std::uint32_t bodySize = 0;  ///< of the message: all but the identifier
  std::uint32_t paddedSize = 0;
  std::uint32_t packetSize = 0;
  bool hasSequenceNumber = false;

  static constexpr SLbEnvelope Of(std::uint32_t messageSize, bool hasSequenceNumber) {
    SLbEnvelope envelope{.messageSize = messageSize, .hasSequenceNumber = hasSequenceNumber};
    envelope.bodySize = messageSize - kIdentifierSize;
    envelope.paddedSize = (envelope.bodySize + kPaddedTo - 1) / kPaddedTo * kPaddedTo;
    // The wire's rule gives one block more for a body of exactly 16 n bytes; no message has one.
    envelope.packetSize = messageSize + kPaddedTo - envelope.bodySize % kPaddedTo + kNonceSize + kTagSize +
                          (hasSequenceNumber ? kSequenceNumberSize : 0);
    return envelope;
  }

  constexpr std::uint32_t Padding() const { return paddedSize - bodySize; }
  /// Of a packet of that size.
  template <typename TByte>
  constexpr SLbPacketParts<TByte> PartsOf(std::span<TByte> packet) const {
    const std::size_t sequenceNumber = kIdentifierSize + paddedSize;
    const std::size_t nonce = sequenceNumber + (hasSequenceNumber ? kSequenceNumberSize : 0);
    return {.ciphertext = packet.subspan(kIdentifierSize, paddedSize),
            .sequenceNumber = packet.subspan(sequenceNumber, nonce - sequenceNumber),
            .nonce = packet.subspan(nonce, kNonceSize),
            .tag = packet.subspan(nonce + kNonceSize, kTagSize)};
  }
};
