#pragma once

#include "platform/utility/crc8.h"
#include "src/components/loadbalancing/ilbpacketparser.h"

/// Messages as they are, with a checksum: for a serial line.
///
/// The handler is called when its message has left the receive buffer, so it may throw and do with the buffer
/// what it likes.
class CLbPacketParser : public ILbPacketParser {
 public:
  std::vector<std::uint8_t> Serialize(const SLbMessage& message, Endpoint* endpoint) override;
  void Parse(const std::shared_ptr<Endpoint>& endpoint) final;
  std::optional<std::uint32_t> GetPacketSize(std::uint8_t id, bool isNetworkEndpoint) const override;
  std::optional<SLbMessage> CheckAndCopy(std::uint8_t id, std::span<const std::uint8_t>& position,
                                         std::uint32_t size, Endpoint& endpoint) override;
  void SetMessageHandler(MessageHandler handler) final { mHandler = std::move(handler); }

 protected:
  /// With its checksum; the size that it has is `size`.
  SLbMessage Sealed(SLbMessage message, std::uint8_t size) const;
  /// Nothing: the checksum, where there is one, is another. At most a message's bytes.
  std::optional<SLbMessage> Checked(std::span<const std::uint8_t> bytes) const;

 private:
  /// The polynomial of a message's checksum.
  static constexpr std::uint8_t kPolynomial = 0x4D;

  std::optional<SLbMessage> TakeMessage(Endpoint& endpoint);

  const CCrc8 mChecksum{kPolynomial};
  MessageHandler mHandler;
};
