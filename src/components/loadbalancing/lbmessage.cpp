#include "src/components/loadbalancing/lbmessage.h"

#include <algorithm>
#include <span>

#include "platform/utility/littleendian.h"

namespace {

using Bytes = std::array<std::uint8_t, SLbMessage::kSize>;

constexpr std::array<SLbMessageKind, 9> kKinds{{
    {ELbMessage::Reset, 2, false, false},
    {ELbMessage::Discovery, 11, false, false},
    {ELbMessage::DiscoveryAnswer, 8, true, false},
    {ELbMessage::InfoRequest, 8, true, true},
    {ELbMessage::InfoAnswer, 10, true, false},
    {ELbMessage::FallbackRequest, 8, true, true},
    {ELbMessage::FallbackAnswer, 12, true, false},
    {ELbMessage::LimitRequest, 13, true, true},
    {ELbMessage::LimitAnswer, SLbMessage::kSize, true, false},
}};

/// What an information answer says; nobody asks for more.
constexpr std::array<std::uint8_t, 2> kInfo{kLbProtocolVersion, 0};

// Where the fields begin. Behind the serial number, or its prefix, each message has its own.
constexpr std::size_t kSerialNumber = 1;
constexpr std::size_t kOwn = kSerialNumber + std::tuple_size_v<LbSerialNumber>;
constexpr std::size_t kPrefixBits = kOwn;
constexpr std::size_t kVersion = kPrefixBits + 1;
constexpr std::size_t kCurrent = kOwn;
constexpr std::size_t kFlags = kCurrent + LittleEndian::kSize32;
constexpr std::size_t kReport = kCurrent + 3 * LittleEndian::kSize32;

SLbMessage Begin(ELbMessage id) {
  SLbMessage message;
  message.bytes.front() = static_cast<std::uint8_t>(id);
  return message;
}

SLbMessage Begin(ELbMessage id, const LbSerialNumber& serialNumber) {
  SLbMessage message = Begin(id);
  std::ranges::copy(serialNumber, message.bytes.begin() + kSerialNumber);
  return message;
}

std::uint32_t Read32(const Bytes& bytes, std::size_t offset) {
  return LittleEndian::Read32(std::span(bytes).subspan(offset).first<LittleEndian::kSize32>());
}

void Write32(std::uint32_t number, Bytes& bytes, std::size_t offset) {
  LittleEndian::Write32(number, std::span(bytes).subspan(offset).first<LittleEndian::kSize32>());
}

}  // namespace

std::optional<SLbMessageKind> FindLbMessageKind(std::uint8_t id) {
  const auto* const kind = std::ranges::find(kKinds, static_cast<ELbMessage>(id), &SLbMessageKind::id);
  if (kind == kKinds.end()) return std::nullopt;
  return *kind;
}

std::uint8_t LbMessageSize(const SLbMessageKind& kind, bool isNetworkEndpoint) {
  return kind.id == ELbMessage::DiscoveryAnswer && !isNetworkEndpoint ? kLineDiscoveryAnswerSize : kind.size;
}

LbPhases DrawingLbPhases(const LbPhaseCurrents& milliAmpere) {
  unsigned drawing = 0;
  for (std::size_t phase = 0; phase < milliAmpere.size(); ++phase) {
    if (milliAmpere[phase] > kLbDrawingMilliAmpere) drawing |= 1U << phase;
  }
  return static_cast<LbPhases>(drawing);
}

namespace LbMessages {

SLbMessage Reset() {
  return Begin(ELbMessage::Reset);
}

SLbMessage Write(const SDiscovery& discovery) {
  SLbMessage message = Begin(ELbMessage::Discovery, discovery.prefix);
  message.bytes[kPrefixBits] = discovery.prefixBits;
  message.bytes[kVersion] = discovery.version;
  return message;
}

SLbMessage DiscoveryAnswer(const LbSerialNumber& serialNumber) {
  return Begin(ELbMessage::DiscoveryAnswer, serialNumber);
}

SLbMessage LineDiscoveryAnswer() {
  return Begin(ELbMessage::DiscoveryAnswer);
}

SLbMessage InfoRequest(const LbSerialNumber& serialNumber) {
  return Begin(ELbMessage::InfoRequest, serialNumber);
}

SLbMessage InfoAnswer(const LbSerialNumber& serialNumber) {
  SLbMessage message = Begin(ELbMessage::InfoAnswer, serialNumber);
  std::ranges::copy(kInfo, message.bytes.begin() + kOwn);
  return message;
}

SLbMessage FallbackRequest(const LbSerialNumber& serialNumber) {
  return Begin(ELbMessage::FallbackRequest, serialNumber);
}

SLbMessage FallbackAnswer(const LbSerialNumber& serialNumber, std::uint32_t milliAmpere) {
  SLbMessage message = Begin(ELbMessage::FallbackAnswer, serialNumber);
  Write32(milliAmpere, message.bytes, kCurrent);
  return message;
}

SLbMessage Write(const SLimitRequest& request) {
  SLbMessage message = Begin(ELbMessage::LimitRequest, request.serialNumber);
  Write32(request.milliAmpere, message.bytes, kCurrent);
  message.bytes[kFlags] = request.flags;
  return message;
}

SLbMessage Write(const SLimitAnswer& answer) {
  SLbMessage message = Begin(ELbMessage::LimitAnswer, answer.serialNumber);
  std::size_t offset = kCurrent;
  for (const std::uint32_t milliAmpere : answer.load.milliAmpere) {
    Write32(milliAmpere, message.bytes, offset);
    offset += LittleEndian::kSize32;
  }
  message.bytes[kReport] = answer.load.report;
  return message;
}

LbSerialNumber SerialNumberOf(const SLbMessage& message) {
  LbSerialNumber serialNumber;
  std::copy_n(message.bytes.begin() + kSerialNumber, serialNumber.size(), serialNumber.begin());
  return serialNumber;
}

SDiscovery ReadDiscovery(const SLbMessage& message) {
  return {.prefix = SerialNumberOf(message),
          .prefixBits = message.bytes[kPrefixBits],
          .version = message.bytes[kVersion]};
}

std::uint8_t ReadInfoAnswer(const SLbMessage& message) {
  return message.bytes[kOwn];
}

std::uint32_t ReadFallbackAnswer(const SLbMessage& message) {
  return Read32(message.bytes, kCurrent);
}

SLimitRequest ReadLimitRequest(const SLbMessage& message) {
  return {.serialNumber = SerialNumberOf(message),
          .milliAmpere = Read32(message.bytes, kCurrent),
          .flags = message.bytes[kFlags]};
}

SLimitAnswer ReadLimitAnswer(const SLbMessage& message) {
  SLimitAnswer answer{.serialNumber = SerialNumberOf(message), .load = {.report = message.bytes[kReport]}};
  for (std::size_t phase = 0; phase < answer.load.milliAmpere.size(); ++phase) {
    answer.load.milliAmpere[phase] = Read32(message.bytes, kCurrent + phase * LittleEndian::kSize32);
  }
  return answer;
}

}  // namespace LbMessages
