#include "platform/http/curlhttpclient.h"

#include <chrono>
#include <thread>

#include <arpa/inet.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include "platform/utility/filedescriptor.h"

namespace {

using namespace std::chrono_literals;

/// Answers every request with the same bytes, then hangs up or sends a byte more every 100 ms.
class CScriptedServer {
 public:
  CScriptedServer(std::string answer, bool trickles)
      : mListener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)),
        mAnswer(std::move(answer)),
        mTrickles(trickles) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(::bind(mListener.Get(), generic, size) | ::listen(mListener.Get(), 4), 0);
    EXPECT_EQ(::getsockname(mListener.Get(), generic, &size), 0);
    mUrl = fmt::format("http://127.0.0.1:{}/api", ntohs(address.sin_port));
    mThread = std::thread([this] { Serve(); });
  }
  ~CScriptedServer() {
    ::shutdown(mListener.Get(), SHUT_RDWR);
    mThread.join();
  }
  CScriptedServer(const CScriptedServer&) = delete;
  CScriptedServer& operator=(const CScriptedServer&) = delete;

  const std::string& Url() const { return mUrl; }

 private:
  void Serve() {
    while (true) {
      const CFileDescriptor connection(::accept(mListener.Get(), nullptr, nullptr));
      if (!connection.IsOpen()) return;
      char request[1024];
      if (::recv(connection.Get(), request, sizeof request, 0) <= 0) continue;
      ::send(connection.Get(), mAnswer.data(), mAnswer.size(), MSG_NOSIGNAL);
      pollfd hangUp{connection.Get(), POLLIN, 0};
      while (mTrickles && ::poll(&hangUp, 1, 100) == 0) ::send(connection.Get(), "x", 1, MSG_NOSIGNAL);
    }
  }

  const CFileDescriptor mListener;
  const std::string mAnswer;
  const bool mTrickles;
  std::string mUrl;
  std::thread mThread;
};

TEST(CurlHttpClientTest, TellsWhatCameOfARequest) {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string body(IHttpClient::kLargestBody, 'x');
  const struct {
    std::string answer;
    std::string failure;
    std::uint32_t status = 0;
    std::string body{};
    bool trickles = false;
  } kCases[] = {
      {ok + "Content-Length: 2\r\n\r\nhi", "", 200, "hi"},
      {ok + "Transfer-Encoding: chunked\r\n\r\n1\r\nh\r\n1\r\ni\r\n0\r\n\r\n", "", 200, "hi"},
      {ok + "\r\n" + body, "", 200, body},
      {ok + "\r\n" + body + "x", "the answer is larger than 65536 bytes"},
      {ok + "A: " + std::string(20000, 'x') + "\r\n\r\n", "the answer's headers are larger than 16384 bytes"},
      {"HTTP/1.1 404 Not Found\r\nContent-Length: 1\r\n\r\n!", "", 404, "!"},
      {"HTTP/1.1 302 Found\r\nLocation: file:///etc/passwd\r\nContent-Length: 0\r\n\r\n", "", 302},
      {ok + "Content-Length: 9\r\n\r\nhi", "Transferred a partial file"},
      {"", "Server returned nothing (no headers, no data)"},
      {"\x01\x02 no HTTP", "the answer is not HTTP/1"},
      {ok + "\r\n", "no complete answer within 2000 ms", 0, "", true},
  };
  CCurlHttpClient client;
  for (const auto& [answer, failure, status, text, trickles] : kCases) {
    const CScriptedServer server(answer, trickles);
    const auto begin = std::chrono::steady_clock::now();
    const SHttpAnswer got = client.Get(server.Url());
    EXPECT_EQ(got.failure, failure) << answer.substr(0, 60);
    EXPECT_EQ(got.status, status);
    EXPECT_EQ(got.body, text);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 3s);
  }
  EXPECT_EQ(client.Get("http://127.0.0.1:1/").failure, "Connection refused");
  EXPECT_EQ(client.Get("file:///etc/passwd").failure, "Unsupported protocol");
  EXPECT_EQ(client.Get("http://no such host/").failure, "URL using bad/illegal format or missing URL");
}

}  // namespace
