#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "simulation/rs485bus.h"

/// A station's end of a CRs485Bus, and the whole line as the one peer on it. One thread.
class CRs485BusListener final : public ICommunicationListener,
                                private ICommunicationListener::IEndpoint,
                                public std::enable_shared_from_this<CRs485BusListener> {
 public:
  // As the line that ships has them.
  static constexpr Milliseconds kResponseTime{100};
  static constexpr std::uint32_t kCapacity = 31;
  /// Bytes that are kept for a handler that leaves them; then the oldest go.
  static constexpr std::size_t kMostReceived = 8192;

  CRs485BusListener(CRs485Bus& bus, MediumStation number) : mBus(bus), mNumber(number) {}

  bool Start() override { return mIsStarted = mIsPresent; }
  void Stop() override { mIsStarted = false; }
  bool BroadcastData(std::span<const std::uint8_t> data) override { return SendData(data); }
  Milliseconds GetResponseTime(bool /*extended*/) const override { return kResponseTime; }
  std::uint32_t GetCapacity() const override { return kCapacity; }
  void SetDataReceivedHandler(DataReceivedHandler handler) override { mHandler = std::move(handler); }

  MediumStation Number() const { return mNumber; }
  void SetPresent(bool isPresent) { mIsPresent = isPresent; }
  bool IsPresent() const { return mIsPresent; }
  bool IsListening() const { return mIsPresent && mIsStarted; }
  void Hear(std::span<const std::uint8_t> data);

 private:
  bool SendData(std::span<const std::uint8_t> data) override;
  std::vector<std::uint8_t>& GetReceiveBuffer() override { return mReceived; }
  std::string ToString() const override { return "the RS485 line"; }
  std::optional<std::uint32_t> GetMetadata(bool /*advance*/) override { return std::nullopt; }
  bool ValidateMetadata(std::uint32_t /*received*/, bool /*advance*/) const override { return true; }
  void AcceptMetadata(std::optional<std::uint32_t> /*received*/) override {}
  bool IsNetworkEndpoint() const override { return false; }

  CRs485Bus& mBus;
  const MediumStation mNumber;
  bool mIsPresent = true;
  bool mIsStarted = false;
  DataReceivedHandler mHandler;
  std::vector<std::uint8_t> mReceived;
};
