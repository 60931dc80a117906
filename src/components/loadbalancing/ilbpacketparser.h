#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "src/communication/icommunicationlistener.h"
#include "src/components/loadbalancing/lbmessage.h"

/// Turns messages into the packets of a medium, and what has come over it into messages.
///
/// `Serialize` on one thread, the rest on another, the medium's; they do not disturb each other.
class ILbPacketParser {
 public:
  using Endpoint = ICommunicationListener::IEndpoint;
  using MessageHandler =
      std::function<void(const SLbMessage& message, const std::shared_ptr<Endpoint>& endpoint)>;

  virtual ~ILbPacketParser() = default;

  /// The bytes to send to the endpoint, or to everybody where there is none; empty when that failed. What
  /// carries a sequence number takes an endpoint.
  virtual std::vector<std::uint8_t> Serialize(const SLbMessage& message, Endpoint* endpoint) = 0;
  /// Takes every whole message out of the endpoint's receive buffer, in order, and hands it to the handler.
  /// Bytes that belong to none are dropped, the beginning of one stays.
  virtual void Parse(const std::shared_ptr<Endpoint>& endpoint) = 0;
  /// Bytes that a message takes on the medium; nothing: there is no such message.
  virtual std::optional<std::uint32_t> GetPacketSize(std::uint8_t id, bool isNetworkEndpoint) const = 0;
  /// Checks the message that begins with `position` and is `size` bytes long. Nothing: it is none. Otherwise
  /// `position` moves behind it.
  virtual std::optional<SLbMessage> CheckAndCopy(std::uint8_t id, std::span<const std::uint8_t>& position,
                                                 std::uint32_t size, Endpoint& endpoint) = 0;

  /// Without one messages are dropped. Before anything is parsed.
  virtual void SetMessageHandler(MessageHandler handler) = 0;
};
