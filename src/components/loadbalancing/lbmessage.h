#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "platform/worker/scheduler.h"
#include "src/components/loadbalancing/lbserialnumber.h"

/// The messages of a load-balancing group, by the identifier that stands in their first byte.
enum class ELbMessage : std::uint8_t {
  Reset = 0x11,            ///< leader: whoever hears it is undiscovered again
  Discovery = 0x22,        ///< leader: whose serial number begins so?
  DiscoveryAnswer = 0x33,  ///< follower: mine does
  InfoRequest = 0x44,      ///< leader
  InfoAnswer = 0x55,       ///< follower
  FallbackRequest = 0x66,  ///< leader: what do you charge with when nobody tells you?
  FallbackAnswer = 0x77,   ///< follower
  LimitRequest = 0x88,     ///< leader: charge with at most so much, and tell what you draw
  LimitAnswer = 0x99       ///< follower
};

/// One message as it stands on the wire before encryption: identifier first, checksum in its last byte, zeros
/// behind. docs/protocol.md has the layout.
struct SLbMessage {
  static constexpr std::size_t kSize = 21;
  std::array<std::uint8_t, kSize> bytes{};

  std::uint8_t Id() const { return bytes.front(); }
};

/// What the identifier says of a message.
struct SLbMessageKind {
  ELbMessage id;
  std::uint8_t size;       ///< bytes, with identifier and checksum
  bool hasSequenceNumber;  ///< on a network
  bool advancesSequence;   ///< a request that moves the peer's number on by one
};

/// Nothing: no message has that identifier.
std::optional<SLbMessageKind> FindLbMessageKind(std::uint8_t id);
/// The discovery answer on a line, where many may give it at the same time: the identifier alone.
inline constexpr std::uint8_t kLineDiscoveryAnswerSize = 1;
/// Bytes of a message, before encryption, on a network or on a line.
std::uint8_t LbMessageSize(const SLbMessageKind& kind, bool isNetworkEndpoint);

inline constexpr std::uint8_t kLbProtocolVersion = 3;
/// Of 0x88: find out on which phases the vehicle draws. Heeded when the limit is 0.
inline constexpr std::uint8_t kLbPhaseDiscoveryFlag = 0x01;
/// What a vehicle gets meanwhile, in mA.
inline constexpr std::uint32_t kLbPhaseDiscoveryMilliAmpere = 10000;
/// A follower that gets no 0x88 for so long falls back.
inline constexpr Milliseconds kLbCommunicationTimeout{8000};

/// A value for each of the supply's phases, in the order R, S, T.
using LbPhaseCurrents = std::array<std::uint32_t, 3>;

/// Some of these phases: bits 0 to 2 are R, S, T.
using LbPhases = std::uint8_t;
inline constexpr LbPhases kLbAllPhases = 0x07;
constexpr bool HasLbPhase(LbPhases phases, std::size_t phase) {
  return ((std::uint32_t{phases} >> phase) & 1U) != 0;
}

/// What a station says of its vehicle.
struct SLbLoad {
  LbPhaseCurrents milliAmpere{};  ///< that it draws
  std::uint8_t report = 0;        ///< see ILbPhaseHandler

  friend bool operator==(const SLbLoad&, const SLbLoad&) = default;
};

/// A phase draws when its current is above this, in mA.
inline constexpr std::uint32_t kLbDrawingMilliAmpere = 1000;
LbPhases DrawingLbPhases(const LbPhaseCurrents& milliAmpere);

/// What a message holds. Reading takes a message of that identifier; writing leaves the checksum to who sends
/// it.
namespace LbMessages {

struct SDiscovery {
  LbSerialNumber prefix{};
  std::uint8_t prefixBits = 0;
  std::uint8_t version = kLbProtocolVersion;
};
struct SLimitRequest {
  LbSerialNumber serialNumber{};
  std::uint32_t milliAmpere = 0;
  std::uint8_t flags = 0;
};
struct SLimitAnswer {
  LbSerialNumber serialNumber{};
  SLbLoad load{};
};

SLbMessage Reset();
SLbMessage Write(const SDiscovery& discovery);
SLbMessage DiscoveryAnswer(const LbSerialNumber& serialNumber);
SLbMessage LineDiscoveryAnswer();
SLbMessage InfoRequest(const LbSerialNumber& serialNumber);
SLbMessage InfoAnswer(const LbSerialNumber& serialNumber);
SLbMessage FallbackRequest(const LbSerialNumber& serialNumber);
SLbMessage FallbackAnswer(const LbSerialNumber& serialNumber, std::uint32_t milliAmpere);
SLbMessage Write(const SLimitRequest& request);
SLbMessage Write(const SLimitAnswer& answer);

/// Of the follower concerned, in every message from 0x33 on.
LbSerialNumber SerialNumberOf(const SLbMessage& message);
SDiscovery ReadDiscovery(const SLbMessage& message);
/// The version of the protocol that the station speaks.
std::uint8_t ReadInfoAnswer(const SLbMessage& message);
std::uint32_t ReadFallbackAnswer(const SLbMessage& message);
SLimitRequest ReadLimitRequest(const SLbMessage& message);
SLimitAnswer ReadLimitAnswer(const SLbMessage& message);

}  // namespace LbMessages
