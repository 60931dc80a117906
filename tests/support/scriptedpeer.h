#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "src/communication/icommunicationlistener.h"

/// A peer whose bytes and sequence number are set from outside; on a network, or the whole of a line. A
/// number is good when it is at most ten ahead, or the same where it is not to be advanced.
class CScriptedPeer final : public ICommunicationListener::IEndpoint {
 public:
  explicit CScriptedPeer(bool isNetwork = true) : mIsNetwork(isNetwork) {}

  bool SendData(std::span<const std::uint8_t>) override { return true; }
  std::vector<std::uint8_t>& GetReceiveBuffer() override { return mReceived; }
  std::string ToString() const override { return "[fe80::7]:23068"; }
  std::optional<std::uint32_t> GetMetadata(bool advance) override {
    if (mSequence && advance) ++*mSequence;
    return mSequence;
  }
  bool ValidateMetadata(std::uint32_t received, bool advance) const override {
    if (!mSequence) return true;
    return advance ? received - *mSequence - 1 < 10 : received == *mSequence;
  }
  void AcceptMetadata(std::optional<std::uint32_t> received) override {
    ++mAccepted;
    if (received) mSequence = received;
  }
  bool IsNetworkEndpoint() const override { return mIsNetwork; }

  std::vector<std::uint8_t> mReceived;
  std::optional<std::uint32_t> mSequence;
  int mAccepted = 0;

 private:
  const bool mIsNetwork;
};
