#pragma once

#include <memory>
#include <string_view>

#include "platform/crypto/randomgenerator.h"
#include "src/components/loadbalancing/lbpacketparser.h"

/// Messages in an envelope that only members of the group can make and open: AES-256-GCM under a key that
/// password and group give. For a network.
class CLbEncryptedPacketParser final : public CLbPacketParser {
 public:
  explicit CLbEncryptedPacketParser(std::unique_ptr<IRandomGenerator> random);
  ~CLbEncryptedPacketParser() override;
  CLbEncryptedPacketParser(const CLbEncryptedPacketParser&) = delete;
  CLbEncryptedPacketParser& operator=(const CLbEncryptedPacketParser&) = delete;

  /// Derives the key, which takes a while: 10 ms here, some hundred on a slow board. Once, first. False, and
  /// an error line: nothing can be made or opened. No copy of the password is left behind.
  bool Initialize(std::string_view password, std::uint16_t groupId);

  std::vector<std::uint8_t> Serialize(const SLbMessage& message, Endpoint* endpoint) override;
  std::optional<std::uint32_t> GetPacketSize(std::uint8_t id, bool isNetworkEndpoint) const override;
  std::optional<SLbMessage> CheckAndCopy(std::uint8_t id, std::span<const std::uint8_t>& position,
                                         std::uint32_t size, Endpoint& endpoint) override;

 private:
  class CCipher;

  const std::unique_ptr<IRandomGenerator> mRandom;
  const std::unique_ptr<CCipher> mCipher;
};
