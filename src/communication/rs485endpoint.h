#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/utility/mutex.h"
#include "src/communication/communicationlistener.h"

/// A whole serial line as the one peer on it. It has no sequence numbers.
class CCommunicationListener::CEndpoint final : public ICommunicationListener::IEndpoint {
 public:
  /// Bytes that are kept for a handler that leaves them; then the oldest go.
  static constexpr std::size_t kMostReceived = 8192;
  /// How long a line may take no byte before a send fails, so that nobody waits forever for it.
  static constexpr Milliseconds kSendPatience{500};

  CEndpoint();

  /// Bytes go to the device from now on. Any thread, as the next.
  void Attach(int descriptor) EXCLUDES(mMutex);
  /// Sends fail from now on; none is using the device any more when this returns.
  void Detach() EXCLUDES(mMutex);

  /// Bytes have come. On the listener's thread, as what uses the buffer.
  void Append(std::span<const std::uint8_t> data);

  /// Writes all of it before it returns; others wait meanwhile. One error line per reason in a row.
  bool SendData(std::span<const std::uint8_t> data) override EXCLUDES(mMutex);
  std::vector<std::uint8_t>& GetReceiveBuffer() override { return mReceived; }
  std::string ToString() const override { return "the RS485 line"; }
  std::optional<std::uint32_t> GetMetadata(bool /*advance*/) override { return std::nullopt; }
  bool ValidateMetadata(std::uint32_t /*received*/, bool /*advance*/) const override { return true; }
  void AcceptMetadata(std::optional<std::uint32_t> /*received*/) override {}
  bool IsNetworkEndpoint() const override { return false; }

 private:
  std::string Write(std::span<const std::uint8_t> data) const REQUIRES(mMutex);
  bool AwaitRoom() const REQUIRES(mMutex);

  std::vector<std::uint8_t> mReceived;

  CMutex mMutex;
  int mDescriptor GUARDED_BY(mMutex) = -1;
  std::string mFailure GUARDED_BY(mMutex);  // of the newest send; empty: none
};
