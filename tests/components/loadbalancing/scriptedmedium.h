#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "src/communication/icommunicationlistener.h"

/// A medium with one peer, or a whole line: what the peer says is given as hexadecimal digits, and so is what
/// it was told. Sequence numbers are none of its business. One thread.
class CScriptedMedium final : public ICommunicationListener {
 public:
  explicit CScriptedMedium(bool isNetwork) : mPeer(std::make_shared<CPeer>(isNetwork)) {}

  void Hear(std::string_view digits) {
    for (std::size_t at = 0; at + 1 < digits.size(); at += 2)
      mPeer->mReceived.push_back(
          static_cast<std::uint8_t>(std::stoi(std::string(digits.substr(at, 2)), nullptr, 16)));
    if (mHandler) mHandler(mPeer);
  }
  /// Since the last time, one after the other.
  std::string Told() { return std::exchange(mPeer->mTold, {}); }
  void SetPresent(bool isPresent) { mIsPresent = isPresent; }
  int Starts() const { return mStarts; }

  bool Start() override { return ++mStarts, mIsPresent; }
  void Stop() override {}
  bool BroadcastData(std::span<const std::uint8_t> data) override { return mPeer->SendData(data); }
  Milliseconds GetResponseTime(bool) const override { return Milliseconds{0}; }
  std::uint32_t GetCapacity() const override { return 0; }
  void SetDataReceivedHandler(DataReceivedHandler handler) override { mHandler = std::move(handler); }

 private:
  struct CPeer final : public IEndpoint {
    explicit CPeer(bool isNetwork) : mIsNetwork(isNetwork) {}
    bool SendData(std::span<const std::uint8_t> data) override {
      mTold += fmt::format("{:02x}", fmt::join(data, ""));
      return true;
    }
    std::vector<std::uint8_t>& GetReceiveBuffer() override { return mReceived; }
    std::string ToString() const override { return "the peer"; }
    std::optional<std::uint32_t> GetMetadata(bool) override { return std::nullopt; }
    bool ValidateMetadata(std::uint32_t, bool) const override { return true; }
    void AcceptMetadata(std::optional<std::uint32_t>) override {}
    bool IsNetworkEndpoint() const override { return mIsNetwork; }

    const bool mIsNetwork;
    std::vector<std::uint8_t> mReceived;
    std::string mTold;
  };

  const std::shared_ptr<CPeer> mPeer;
  DataReceivedHandler mHandler;
  bool mIsPresent = true;
  int mStarts = 0;
};
