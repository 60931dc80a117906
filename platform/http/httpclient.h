#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/worker/scheduler.h"

/// What came of a request.
struct SHttpAnswer {
  std::string failure;       ///< why there is no answer; empty: there is one
  std::uint32_t status = 0;  ///< as the server gave it, 200 when all is well
  std::string body;
};

/// Asks one server after the other over HTTP/1.1; a connection is kept for the next request to the same one.
/// One thread at a time.
class IHttpClient {
 public:
  static constexpr Milliseconds kConnectTimeout{1000};
  /// For a request as a whole, however slowly its answer trickles in.
  static constexpr Milliseconds kTimeout{2000};
  static constexpr std::uint32_t kLargestBody = 64 * 1024;

  virtual ~IHttpClient() = default;

  /// The calling thread waits for the answer, `kTimeout` at most. Redirections are not followed. A larger
  /// body than `kLargestBody` is a failure.
  virtual SHttpAnswer Get(const std::string& url) = 0;
};

using HttpClientCreator = std::function<std::unique_ptr<IHttpClient>()>;
