#include "src/communication/communicationlistener.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include "platform/log/logcapture.h"
#include "platform/worker/virtualscheduler.h"
#include "src/communication/rs485endpoint.h"
#include "support/p1text.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

constexpr auto kLost = "Failed to read data: ::read returned 0";

std::array<CFileDescriptor, 2> SocketPair() {
  int ends[2];
  EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
  return {CFileDescriptor(ends[0]), CFileDescriptor(ends[1])};
}

/// A device that says what the script says next each time that it is opened, and is lost at once, so that
/// virtual time is not held up. Behind the script's end it cannot be opened.
class CScriptedHal final : public ICommunicationHal {
 public:
  struct SScript {
    std::deque<std::string> says;
    int opened = 0;
    int lowestDescriptor = 0;
  };
  explicit CScriptedHal(SScript& script) : mScript(script) {}

  bool Open() override {
    ++mScript.opened;
    if (mScript.says.empty()) return false;
    const auto [device, peer] = SocketPair();
    mDevice = CFileDescriptor(::fcntl(device.Get(), F_DUPFD_CLOEXEC, mScript.lowestDescriptor));
    const std::string& text = mScript.says.front();
    EXPECT_EQ(::write(peer.Get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    mScript.says.pop_front();
    return true;
  }
  void Close() override { mDevice.Close(); }
  int Descriptor() const override { return mDevice.Get(); }

 private:
  SScript& mScript;
  CFileDescriptor mDevice;
};

class CommunicationListenerTest : public ::testing::Test {
 protected:
  std::vector<std::string> Errors() const { return mLog.Texts(Log::ELogLevel::Error); }

  CVirtualScheduler mScheduler;
  CLogCapture mLog{Log::ELogLevel::Info};
  CScriptedHal::SScript mScript;
  CCommunicationListener mListener{std::make_unique<CScriptedHal>(mScript),
                                   std::make_unique<CWorker>(mScheduler, "line")};
};

TEST_F(CommunicationListenerTest, CollectsWhatItsHandlerLeaves) {
  std::vector<std::string> seen;
  mScript.says = {std::string(130, 'a'), "b"};
  mListener.SetDataReceivedHandler([&seen](const std::shared_ptr<ICommunicationListener::IEndpoint>& line) {
    seen.emplace_back(line->GetReceiveBuffer().begin(), line->GetReceiveBuffer().end());
  });
  EXPECT_TRUE(mListener.Start());
  EXPECT_TRUE(mListener.Start()) << "once more is harmless";
  mScheduler.RunFor(1s);
  EXPECT_THAT(seen, ElementsAre(std::string(128, 'a'), std::string(130, 'a'), "b"))
      << "what came before the device was lost is no part of what comes after";

  CCommunicationListener::CEndpoint endpoint;  // where nobody consumes
  for (int piece = 0; piece < 100; ++piece) endpoint.Append(Bytes(std::string(99, 'x') + "end"));
  const auto& buffer = endpoint.GetReceiveBuffer();
  EXPECT_EQ(buffer.size(), 8192U);
  EXPECT_EQ(std::string(buffer.end() - 4, buffer.end()), "xend");
}

TEST_F(CommunicationListenerTest, OpensALostDeviceAgainByAndBy) {
  EXPECT_FALSE(mListener.Start());
  EXPECT_FALSE(mListener.Start());
  EXPECT_THAT(Errors(), ElementsAre("Failed to open device for listening"));

  mScript.says = {std::string(1000, 'a'), ""};
  EXPECT_TRUE(mListener.Start());
  mScheduler.RunFor(60s);
  EXPECT_EQ(mScript.opened, 2 + 1 + 5) << "there and gone after 1 s, then nothing after 3, 7, 15 and 31 s";
  EXPECT_FALSE(mListener.BroadcastData(Bytes("a")));
  mScript.says = {"a"};
  mScheduler.RunFor(1s);
  EXPECT_THAT(mLog.Texts(Log::ELogLevel::Info), ElementsAre("The device for listening is heard again"));
  EXPECT_THAT(Errors(), ElementsAre("Failed to open device for listening", "No DataReceived handler", kLost,
                                    "Failed to write data: the line is not open", kLost));
  mScheduler.RunFor(1s);
  EXPECT_EQ(mScript.opened, 10) << "after 1 s again";
  mListener.Stop();
  mScheduler.RunFor(60s);
  EXPECT_EQ(mScript.opened, 10);
  mScript.says = {"a"};
  EXPECT_TRUE(mListener.Start());
}

TEST_F(CommunicationListenerTest, WillNotSelectADescriptorThatIsTooLarge) {
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  if (limit.rlim_max < 2000) GTEST_SKIP() << "the system allows no such descriptor";
  limit.rlim_cur = std::max<rlim_t>(limit.rlim_cur, 2000);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  mScript = {.says = {"", ""}, .lowestDescriptor = FD_SETSIZE};
  EXPECT_FALSE(mListener.Start());
  EXPECT_FALSE(mListener.Start());
  EXPECT_THAT(Errors(), ElementsAre("Too many files are open: ::select cannot wait for descriptor 1024",
                                    "Failed to open device for listening"));
}

TEST_F(CommunicationListenerTest, SendsWholeMessagesOrFails) {
  std::signal(SIGPIPE, SIG_IGN);
  auto [device, peer] = SocketPair();
  CCommunicationListener::CEndpoint endpoint;
  endpoint.Attach(device.Get());
  EXPECT_TRUE(endpoint.SendData(Bytes("a")));
  EXPECT_FALSE(endpoint.SendData(Bytes(std::string(10000000, 'a')))) << "the peer takes nothing";
  peer.Close();
  EXPECT_FALSE(endpoint.SendData(Bytes("a")));
  EXPECT_FALSE(endpoint.SendData(Bytes("a")));
  EXPECT_THAT(Errors(), ElementsAre("Failed to write data: the line took no byte for 500 ms",
                                    "Failed to write data: ::write raised error \"Broken pipe\""));
}

}  // namespace
