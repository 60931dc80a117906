#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "src/components/loadbalancing/lbenvelope.h"

/// AES-256-GCM under the key of a group. `Encrypt` on one thread, `Decrypt` on another: they share nothing.
/// Their results are the cryptographic library's codes, 0 is success; they take no memory from the heap.
class CLbCipher {
 public:
  CLbCipher();
  ~CLbCipher();
  CLbCipher(const CLbCipher&) = delete;
  CLbCipher& operator=(const CLbCipher&) = delete;

  /// Derives the key from what every station of the group has. False, and an error line: there is none.
  bool SetKey(std::string_view password, std::uint16_t groupId);

  /// Gives ciphertext and tag; nonce and sequence number stand there already.
  int Encrypt(std::span<const std::uint8_t> padded, const SLbPacketParts<std::uint8_t>& parts);
  /// Gives the padded body. An error where the group's key has not made it all so.
  int Decrypt(const SLbPacketParts<const std::uint8_t>& parts, std::span<std::uint8_t> padded);

 private:
  class CContext;

  const std::unique_ptr<CContext> mSending;
  const std::unique_ptr<CContext> mReceiving;
};
