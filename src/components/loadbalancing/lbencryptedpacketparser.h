#pragma once

#include <memory>
#include <string_view>

#include "platform/crypto/randomgenerator.h"
#include "src/components/loadbalancing/lbenvelope.h"
#include "src/components/loadbalancing/lbpacketparser.h"
#include "src/components/loadbalancing/lbreplayguard.h"

class CLbCipher;

/// Messages in an envelope that only members of the group can make and open: AES-256-GCM under a key that
/// password and group give. For a network.
///
/// A packet is taken once, from whomever it comes.
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
  std::optional<std::uint32_t> DrawSequenceNumber(Endpoint* endpoint, bool advance);
  bool Fill(std::span<std::uint8_t> packet, const SLbEnvelope& envelope, const SLbMessage& sealed,
            std::optional<std::uint32_t> sequenceNumber);
  std::optional<SLbMessage> Open(std::uint8_t id, const SLbEnvelope& envelope,
                                 const SLbPacketParts<const std::uint8_t>& parts);
  bool IsFirst(std::uint8_t id, std::span<const std::uint8_t> nonce, const Endpoint& endpoint);

  const std::unique_ptr<CLbCipher> mCipher;

  // Of the sending thread: the newest results, so that a failure that lasts is told once.
  const std::unique_ptr<IRandomGenerator> mRandom;
  int mToldOfSequenceNumber = 0;
  int mToldOfRandom = 0;
  int mToldOfEncryption = 0;

  // Of the receiving thread.
  CLbReplayGuard mReplayGuard;
};
