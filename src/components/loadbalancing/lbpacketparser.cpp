#include "src/components/loadbalancing/lbpacketparser.h"

#include <algorithm>

std::vector<std::uint8_t> CLbPacketParser::Serialize(const SLbMessage& message, Endpoint* endpoint) {
  const auto size = CLbPacketParser::GetPacketSize(message.Id(), endpoint && endpoint->IsNetworkEndpoint());
  if (!size) return {};
  const SLbMessage sealed = Sealed(message, static_cast<std::uint8_t>(*size));
  return {sealed.bytes.begin(), sealed.bytes.begin() + *size};
}

void CLbPacketParser::Parse(const std::shared_ptr<Endpoint>& endpoint) {
  while (const auto message = TakeMessage(*endpoint)) {
    if (mHandler) mHandler(*message, endpoint);
  }
}

/// The next valid message; it and what stands before it leave the buffer. Nothing: there is none yet.
std::optional<SLbMessage> CLbPacketParser::TakeMessage(Endpoint& endpoint) {
  std::vector<std::uint8_t>& buffer = endpoint.GetReceiveBuffer();
  const bool isNetworkEndpoint = endpoint.IsNetworkEndpoint();
  std::span<const std::uint8_t> rest = buffer;
  std::optional<SLbMessage> message;
  while (!message && !rest.empty()) {
    const auto size = GetPacketSize(rest.front(), isNetworkEndpoint);
    if (size && *size > rest.size()) break;
    if (size) message = CheckAndCopy(rest.front(), rest, *size, endpoint);
    if (!message) rest = rest.subspan(1);
  }
  buffer.erase(buffer.begin(), buffer.end() - static_cast<std::ptrdiff_t>(rest.size()));
  return message;
}

std::optional<std::uint32_t> CLbPacketParser::GetPacketSize(std::uint8_t id, bool isNetworkEndpoint) const {
  const auto kind = FindLbMessageKind(id);
  if (!kind) return std::nullopt;
  return LbMessageSize(*kind, isNetworkEndpoint);
}

std::optional<SLbMessage> CLbPacketParser::CheckAndCopy(std::uint8_t id,
                                                        std::span<const std::uint8_t>& position,
                                                        std::uint32_t size, Endpoint& endpoint) {
  if (size != CLbPacketParser::GetPacketSize(id, endpoint.IsNetworkEndpoint())) return std::nullopt;
  if (size > position.size()) return std::nullopt;
  const auto message = Checked(position.first(size));
  if (message) position = position.subspan(size);
  return message;
}

SLbMessage CLbPacketParser::Sealed(SLbMessage message, std::uint8_t size) const {
  const auto used = std::span(message.bytes).first(size);
  if (size != kLineDiscoveryAnswerSize) used.back() = mChecksum.Of(used.first(used.size() - 1));
  return message;
}

std::optional<SLbMessage> CLbPacketParser::Checked(std::span<const std::uint8_t> bytes) const {
  const bool hasChecksum = bytes.size() != kLineDiscoveryAnswerSize;
  if (hasChecksum && mChecksum.Of(bytes.first(bytes.size() - 1)) != bytes.back()) return std::nullopt;
  SLbMessage message;
  std::ranges::copy(bytes, message.bytes.begin());
  return message;
}
