#pragma once

#include "platform/utility/crc8.h"
#include "src/components/loadbalancing/ilbpacketparser.h"

/// Messages as they are, with a checksum: for a serial line.
class CLbPacketParser : public ILbPacketParser {
 public:
  std::vector<std::uint8_t> Serialize(const SLbMessage& message, Endpoint* endpoint) override;
  void Parse(const std::shared_ptr<Endpoint>& endpoint) final;
  std::optional<std::uint32_t> GetPacketSize(std::uint8_t id, bool isNetworkEndpoint) const override;
  std::optional<SLbMessage> CheckAndCopy(std::uint8_t id, std::span<const std::uint8_t>& position,
                                         std::uint32_t size, Endpoint& endpoint) override;
  void SetMessageHandler(MessageHandler handler) final { mHandler = std::move(handler); }

 private:
  /// The polynomial of a message's checksum.
  static constexpr std::uint8_t kPolynomial = 0x4D;

  const CCrc8 mChecksum{kPolynomial};
  MessageHandler mHandler;
};
