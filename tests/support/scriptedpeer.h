#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <fmt/ranges.h>

#include "src/communication/icommunicationlistener.h"
#include "src/communication/peersequence.h"

/// A peer whose bytes and sequence number are set from outside; on a network, or the whole of a line.
class CScriptedPeer final : public ICommunicationListener::IEndpoint {
 public:
  explicit CScriptedPeer(bool isNetwork = true) : mIsNetwork(isNetwork) {}

  bool SendData(std::span<const std::uint8_t> data) override {
    mTold += fmt::format("{:02x}", fmt::join(data, ""));
    return true;
  }
  std::vector<std::uint8_t>& GetReceiveBuffer() override { return mReceived; }
  std::string ToString() const override { return "the peer"; }
  std::optional<std::uint32_t> GetMetadata(bool advance) override { return mSequence.Next(advance); }
  bool ValidateMetadata(std::uint32_t received, bool advance) const override {
    return mSequence.Fits(received, advance);
  }
  void AcceptMetadata(std::optional<std::uint32_t> received) override {
    ++mAccepted;
    if (received) mSequence.SetNewest(received);
  }
  bool IsNetworkEndpoint() const override { return mIsNetwork; }

  std::vector<std::uint8_t> mReceived;
  std::string mTold;  ///< in hexadecimal digits
  CPeerSequence mSequence;
  int mAccepted = 0;

 private:
  const bool mIsNetwork;
};
