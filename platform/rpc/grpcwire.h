#pragma once

#include <string>
#include <string_view>

#include <grpcpp/support/byte_buffer.h>

namespace Rpc {

/// No message on the local network comes near this; what is larger is refused before it is kept.
constexpr int kLargestMessage = 64 * 1024;

/// A TCP peer that does not answer for this long is gone; unix sockets tell by themselves.
constexpr int kKeepAliveTimeMs = 10'000;
constexpr int kKeepAliveTimeoutMs = 5'000;

/// Initial metadata with which our servers accept a subscription. A refusal looks the same to the client
/// otherwise, until its status arrives. From other servers the first notification tells.
constexpr const char* kAcceptedKey = "subscription";
constexpr const char* kAcceptedValue = "accepted";

inline grpc::ByteBuffer ToBuffer(std::string_view bytes) {
  const grpc::Slice slice(bytes.data(), bytes.size());
  return {&slice, 1};
}

/// A received message as one piece; empty when it cannot be had.
class CReceivedBytes {
 public:
  explicit CReceivedBytes(const grpc::ByteBuffer& buffer) {
    if (buffer.Valid() && !buffer.TrySingleSlice(&mSlice).ok()) buffer.DumpToSingleSlice(&mSlice);
  }
  std::string_view View() const {
    const void* begin = mSlice.begin();
    return {static_cast<const char*>(begin), mSlice.size()};
  }

 private:
  grpc::Slice mSlice;
};

}  // namespace Rpc
