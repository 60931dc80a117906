#include "platform/http/curlhttpclient.h"

#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include <curl/curl.h>
#include <fmt/format.h>

#include "platform/log/log.h"

namespace {

/// The library keeps them all.
constexpr std::size_t kLargestHeaders = 16 * 1024;

/// Where an answer goes while it arrives.
struct SSink {
  std::string body;
  std::size_t headerBytes = 0;
  std::string refusal;  // why no more was taken
};

/// The library takes any other count than all of them for "stop".
constexpr std::size_t kStop = 0;

std::size_t TakeHeader(char* /*line*/, std::size_t size, std::size_t count, void* user) {
  auto& sink = *static_cast<SSink*>(user);
  sink.headerBytes += size * count;
  if (sink.headerBytes <= kLargestHeaders) return size * count;
  sink.refusal = fmt::format("the answer's headers are larger than {} bytes", kLargestHeaders);
  return kStop;
}

std::size_t TakeBody(char* data, std::size_t size, std::size_t count, void* user) {
  auto& sink = *static_cast<SSink*>(user);
  if (size * count > IHttpClient::kLargestBody - sink.body.size()) {
    sink.refusal = fmt::format("the answer is larger than {} bytes", IHttpClient::kLargestBody);
    return kStop;
  }
  sink.body.append(data, size * count);
  return size * count;
}

bool InitializeAndCheck() {
  if (curl_global_init(CURL_GLOBAL_NOTHING) != CURLE_OK) return false;
  if ((curl_version_info(CURLVERSION_NOW)->features & CURL_VERSION_ASYNCHDNS) == 0) {
    LOG_WARNING(
        "libcurl {} waits for name servers however long they take: hosts are better given by their addresses",
        curl_version());
  }
  return true;
}

/// Once in a process.
bool InitializeLibrary() {
  static const bool isInitialized = InitializeAndCheck();
  return isInitialized;
}

void SetUp(CURL* handle) {
  const auto ms = [](Milliseconds span) { return static_cast<long>(span.count()); };
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http");
  curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(handle, CURLOPT_PROXY, "");  // nor one that the environment names
  curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, ms(IHttpClient::kConnectTimeout));
  curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, ms(IHttpClient::kTimeout));
  curl_easy_setopt(handle, CURLOPT_QUICK_EXIT, 1L);  // a look-up that hangs is not waited for
  curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, TakeHeader);
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, TakeBody);
}

bool HasAsked(CURL* handle) {
  curl_off_t sinceBegin = 0;  // stays 0 without a connection
  curl_easy_getinfo(handle, CURLINFO_PRETRANSFER_TIME_T, &sinceBegin);
  return sinceBegin != 0;
}

std::string TimeoutText(bool hasAsked) {
  return hasAsked ? fmt::format("no complete answer within {} ms", IHttpClient::kTimeout.count())
                  : fmt::format("no connection within {} ms", IHttpClient::kConnectTimeout.count());
}

std::string FailureText(CURL* handle, CURLcode code, const SSink& sink) {
  if (!sink.refusal.empty()) return sink.refusal;
  if (code == CURLE_OPERATION_TIMEDOUT) return TimeoutText(HasAsked(handle));
  if (code == CURLE_UNSUPPORTED_PROTOCOL && HasAsked(handle)) return "the answer is not HTTP/1";
  long systemError = 0;
  curl_easy_getinfo(handle, CURLINFO_OS_ERRNO, &systemError);
  if (code == CURLE_COULDNT_CONNECT && systemError != 0) {
    return std::generic_category().message(static_cast<int>(systemError));
  }
  return curl_easy_strerror(code);
}

}  // namespace

void CCurlHttpClient::SCleanup::operator()(void* handle) const {
  curl_easy_cleanup(handle);
}

CCurlHttpClient::CCurlHttpClient() : mHandle(InitializeLibrary() ? curl_easy_init() : nullptr) {
  if (!mHandle) throw std::runtime_error("libcurl cannot be initialized");
  SetUp(mHandle.get());
}

SHttpAnswer CCurlHttpClient::Get(const std::string& url) {
  SSink sink;
  curl_easy_setopt(mHandle.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(mHandle.get(), CURLOPT_HEADERDATA, &sink);
  curl_easy_setopt(mHandle.get(), CURLOPT_WRITEDATA, &sink);
  const CURLcode code = curl_easy_perform(mHandle.get());
  if (code != CURLE_OK) return {.failure = FailureText(mHandle.get(), code, sink), .status = 0, .body = {}};
  long status = 0;
  curl_easy_getinfo(mHandle.get(), CURLINFO_RESPONSE_CODE, &status);
  return {.failure = {}, .status = static_cast<std::uint32_t>(status), .body = std::move(sink.body)};
}
