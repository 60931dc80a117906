#pragma once

#include <memory>
#include <string>

#include "platform/http/httpclient.h"

/// HTTP by libcurl: GET, plain HTTP, past any proxy. What fails is told without figures that differ from one
/// attempt to the next.
class CCurlHttpClient final : public IHttpClient {
 public:
  /// Throws std::runtime_error when the library cannot be used.
  CCurlHttpClient();

  SHttpAnswer Get(const std::string& url) override;

 private:
  struct SCleanup {
    void operator()(void* handle) const;
  };

  const std::unique_ptr<void, SCleanup> mHandle;  // with the connection to the server that was asked last
};
