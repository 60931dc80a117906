#include "src/communication/communicationlistener.h"

#include <algorithm>
#include <csignal>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include "platform/log/logcapture.h"
#include "platform/worker/virtualscheduler.h"
#include "support/p1text.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

/// The device's other end; what is written there is received. Closed, the device is lost.
struct SPeer {
  CFileDescriptor end;
  void Say(std::string_view text) const {
    EXPECT_EQ(::send(end.Get(), text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
  }
};

/// A socket for a device. Each time that it is opened, what the script says next happens; after that it
/// fails.
class CScriptedHal final : public ICommunicationHal {
 public:
  using Script = std::deque<std::function<void(SPeer&)>>;
  explicit CScriptedHal(Script& script, int& opened, int lowest)
      : mScript(script), mOpened(opened), mLowest(lowest) {}

  bool Open() override {
    ++mOpened;
    if (mScript.empty()) return false;
    int ends[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
    mPeer.end = CFileDescriptor(ends[1]);
    mDevice = CFileDescriptor(ends[0]);
    if (mLowest > 0) mDevice = CFileDescriptor(::fcntl(ends[0], F_DUPFD_CLOEXEC, mLowest));
    mScript.front()(mPeer);
    mScript.pop_front();
    return true;
  }
  void Close() override { mDevice.Close(); }
  int Descriptor() const override { return mDevice.Get(); }

 private:
  Script& mScript;
  int& mOpened;
  const int mLowest;
  SPeer mPeer;
  CFileDescriptor mDevice;
};

class CommunicationListenerTest : public ::testing::Test {
 protected:
  void Make(int lowestDescriptor = 0) {
    mListener.emplace(std::make_unique<CScriptedHal>(mScript, mOpened, lowestDescriptor),
                      std::make_unique<CWorker>(mScheduler, "line"));
  }
  /// In virtual time the loop must not wait: the peer goes at once, after it said this.
  static auto SayAndGo(std::string text) {
    return [text = std::move(text)](SPeer& peer) {
      peer.Say(text);
      peer.end.Close();
    };
  }
  std::vector<std::string> Errors() const { return mLog.Texts(Log::ELogLevel::Error); }

  CVirtualScheduler mScheduler;
  CLogCapture mLog{Log::ELogLevel::Info};
  CScriptedHal::Script mScript;
  int mOpened = 0;
  std::optional<CCommunicationListener> mListener;
};

TEST_F(CommunicationListenerTest, CollectsWhatItsHandlerLeaves) {
  std::vector<std::string> seen;
  mScript = {SayAndGo(std::string(130, 'a')), SayAndGo("b")};
  Make();
  mListener->SetDataReceivedHandler(
      [&seen](const std::shared_ptr<ICommunicationListener::IEndpoint>& endpoint) {
        auto& buffer = endpoint->GetReceiveBuffer();
        seen.emplace_back(buffer.begin(), buffer.end());
        if (buffer.size() == 1) buffer.clear();
        EXPECT_FALSE(endpoint->IsNetworkEndpoint());
        EXPECT_EQ(endpoint->GetMetadata(true), std::nullopt);
        EXPECT_TRUE(endpoint->ValidateMetadata(7, true));
      });
  EXPECT_TRUE(mListener->Start());
  EXPECT_TRUE(mListener->Start()) << "once more is harmless";
  mScheduler.RunFor(1s);
  EXPECT_THAT(seen, ElementsAre(std::string(128, 'a'), std::string(130, 'a'), "b"))
      << "what was lost with the device is no part of the rest";
  EXPECT_EQ(mListener->GetResponseTime(true), 100ms);
  EXPECT_EQ(mListener->GetCapacity(), 31U);
}

TEST_F(CommunicationListenerTest, KeepsTheNewestWhereNobodyConsumes) {
  mScript = {SayAndGo(std::string(9000, 'x') + "end"), SayAndGo("y")};
  Make();
  ASSERT_TRUE(mListener->Start());
  mScheduler.RunFor(1s);
  mListener->Stop();
  EXPECT_THAT(Errors(), ElementsAre("No DataReceived handler", "Failed to read data: ::read returned 0",
                                    "Failed to read data: ::read returned 0"));

  CEndpoint endpoint;
  for (int piece = 0; piece < 100; ++piece) endpoint.Append(Bytes(std::string(99, 'x') + "end"));
  const auto& buffer = endpoint.GetReceiveBuffer();
  EXPECT_EQ(buffer.size(), 8192U);
  EXPECT_EQ(std::string(buffer.end() - 4, buffer.end()), "xend");
  endpoint.Append(Bytes(std::string(20000, 'y')));
  EXPECT_EQ(buffer.size(), 8192U);
}

TEST_F(CommunicationListenerTest, OpensALostDeviceAgainByAndBy) {
  Make();
  EXPECT_FALSE(mListener->Start());
  EXPECT_FALSE(mListener->Start());
  EXPECT_THAT(Errors(), ElementsAre("Failed to open device for listening"));
  EXPECT_FALSE(mListener->BroadcastData(Bytes("a")));
  EXPECT_FALSE(mListener->BroadcastData(Bytes("a")));
  mLog.Clear();

  const auto go = [](SPeer& peer) { peer.end.Close(); };
  mScript = {SayAndGo("a"), go};
  EXPECT_TRUE(mListener->Start());
  mScheduler.RunFor(60s);
  EXPECT_EQ(mOpened, 2 + 1 + 5)
      << "after 1 s it is there and gone at once, then nothing after 3, 7, 15 and 31 s";
  EXPECT_THAT(Errors(), ElementsAre("No DataReceived handler", "Failed to read data: ::read returned 0"));
  EXPECT_FALSE(mListener->BroadcastData(Bytes("a")));
  mLog.Clear();

  mScript = {SayAndGo("a")};
  mScheduler.RunFor(1s);
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Info), ElementsAre("The device for listening is heard again"));
  EXPECT_THAT(Errors(), ElementsAre("Failed to read data: ::read returned 0"));
  mScheduler.RunFor(1s);
  EXPECT_EQ(mOpened, 10) << "after 1 s again";
  mListener->Stop();
  mScheduler.RunFor(60s);
  EXPECT_EQ(mOpened, 10);
  mScript = {SayAndGo("a")};
  EXPECT_TRUE(mListener->Start());
}

TEST_F(CommunicationListenerTest, WillNotSelectADescriptorThatIsTooLarge) {
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  if (limit.rlim_max < 2000) GTEST_SKIP() << "the system allows no such descriptor";
  limit.rlim_cur = std::max<rlim_t>(limit.rlim_cur, 2000);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  const auto stay = [](SPeer&) {};
  mScript = {stay, stay};
  Make(FD_SETSIZE);
  EXPECT_FALSE(mListener->Start());
  EXPECT_FALSE(mListener->Start());
  EXPECT_THAT(Errors(), ElementsAre("Too many files are open: ::select cannot wait for descriptor 1024",
                                    "Failed to open device for listening"));
}

TEST_F(CommunicationListenerTest, SendsWholeMessagesOrFails) {
  int ends[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
  std::signal(SIGPIPE, SIG_IGN);
  const CFileDescriptor device(ends[0]);
  CFileDescriptor peer(ends[1]);
  CEndpoint endpoint;
  EXPECT_FALSE(endpoint.SendData(Bytes("a")));
  endpoint.Attach(device.Get());
  EXPECT_TRUE(endpoint.SendData(Bytes("a")));
  EXPECT_FALSE(endpoint.SendData(Bytes(std::string(10000000, 'a')))) << "the peer takes nothing";
  peer.Close();
  EXPECT_FALSE(endpoint.SendData(Bytes("a")));
  EXPECT_FALSE(endpoint.SendData(Bytes("a")));
  endpoint.Detach();
  EXPECT_FALSE(endpoint.SendData(Bytes("a")));
  EXPECT_THAT(Errors(), ElementsAre("Failed to write data: the line is not open",
                                    "Failed to write data: the line took no byte for 500 ms",
                                    "Failed to write data: ::write raised error \"Broken pipe\"",
                                    "Failed to write data: the line is not open"));
}

}  // namespace
