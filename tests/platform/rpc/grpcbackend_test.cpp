#include <future>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "networks.h"
#include "peer.h"
#include "platform/log/logcapture.h"
#include "platform/rpc/kologger.h"

namespace {

using RpcTest::LimitOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Clock = std::chrono::steady_clock;

constexpr auto kSet = "/ipc.CurrentControl/SetCurrentLimit";

class GrpcTest : public ::testing::Test {
 protected:
  std::filesystem::path Socket() const { return network.Root() / "run/ipc/peer.sock"; }
  std::unique_ptr<Rpc::IChannel> Channel() { return Rpc::GrpcBackend().Connect("unix:" + Socket().string()); }
  Rpc::EStatus Call() { return Channel()->Call(kSet, "", Milliseconds{900}).status; }

  RpcTest::CGrpc network;
  CMemoryFiles files;
  CLogCapture log{Log::ELogLevel::Info};
  RpcTest::CPeer<Rpc::GrpcBackend> peer{{}, files, network.Root()};
};

/// A bound socket whose owner is gone, as after a kill.
void LeaveStaleSocket(const std::filesystem::path& path) {
  std::filesystem::create_directories(path.parent_path());
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.string().copy(address.sun_path, sizeof address.sun_path - 1);
  const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  const void* generic = &address;
  ASSERT_EQ(::bind(socket, static_cast<const sockaddr*>(generic), sizeof address), 0);
  ::close(socket);
}

TEST_F(GrpcTest, CreatesItsSocketForTheGroupReplacesAStaleOneAndRemovesItAtTheEnd) {
  LeaveStaleSocket(Socket());
  ASSERT_TRUE(std::filesystem::exists(Socket()));
  peer.Start();
  struct stat status {};
  ASSERT_EQ(::stat(Socket().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0660U);
  EXPECT_EQ(Call(), Rpc::EStatus::Ok);
  peer.Stop();
  EXPECT_FALSE(std::filesystem::exists(Socket()));
}

TEST_F(GrpcTest, LeavesAloneWhatIsNoSocketAndNamesAPathThatCannotBe) {
  std::filesystem::create_directories(Socket());
  const std::pair<std::string, std::string> kCases[] = {
      {"unix:run/ipc/peer.sock", Socket().string() + ": something else than a socket is there"},
      {"unix:/dev/null/peer.sock", "/dev/null/peer.sock"},
      {"unix:" + std::string(120, 'x'), "xxx: the path has"}};
  for (const auto& [address, error] : kCases) {
    files.Write(network.Root() / "etc/kipc.json", R"({"Services": {"Peer": ")" + address + R"("}})");
    RpcTest::CPeer<Rpc::GrpcBackend> other({}, files, network.Root());
    EXPECT_THAT([&] { other.Start(); }, ::testing::ThrowsMessage<Rpc::CStartError>(HasSubstr(error)));
  }
  EXPECT_TRUE(std::filesystem::is_directory(Socket()));

  const auto nobody =
      Rpc::GrpcBackend().Connect("unix:/" + std::string(120, 'x'))->Call(kSet, "", Milliseconds{900});
  EXPECT_EQ(nobody.status, Rpc::EStatus::Unreachable);
  EXPECT_THAT(nobody.detail, HasSubstr("has 121 characters, at most 107 are possible"));
}

/// A port of this machine that nobody uses, or that is kept in use.
class CPort {
 public:
  CPort() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    void* generic = &address;
    EXPECT_EQ(::bind(mSocket, static_cast<sockaddr*>(generic), size), 0);
    EXPECT_EQ(::listen(mSocket, 1), 0);
    EXPECT_EQ(::getsockname(mSocket, static_cast<sockaddr*>(generic), &size), 0);
    text = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  }
  ~CPort() { Free(); }
  CPort(const CPort&) = delete;
  CPort& operator=(const CPort&) = delete;
  void Free() {
    if (mSocket >= 0) ::close(std::exchange(mSocket, -1));
  }
  std::string text;

 private:
  int mSocket = ::socket(AF_INET, SOCK_STREAM, 0);
};

TEST_F(GrpcTest, ServesOverTcpAndRefusesAPortInUseAndANonsenseAddress) {
  Rpc::GrpcBackend::SetLogger(std::make_shared<Rpc::KoLogger>());
  CPort port;
  Rpc::GrpcBackend backend;
  const auto service = ipc::CreateService(std::static_pointer_cast<ipc::ICurrentControl>(peer.control));
  for (const auto& address : {port.text, std::string("no such host:x"), std::string("256.0.0.1:1")}) {
    EXPECT_THROW(backend.CheckAddress(address), Rpc::CStartError) << address;
    EXPECT_THROW(backend.Serve(address, {service}), Rpc::CStartError) << address;
  }
  EXPECT_THAT(log.Texts(Log::ELogLevel::Error), ::testing::Contains(StartsWith("[RPC] ")));
  Rpc::GrpcBackend::SetLogger(nullptr);

  port.Free();
  EXPECT_NO_THROW(backend.CheckAddress(port.text));
  const auto server = backend.Serve(port.text, {service});
  EXPECT_EQ(backend.Connect(port.text)->Call(kSet, "", Milliseconds{900}).status, Rpc::EStatus::Ok);
}

/// Holds handlers until it is opened.
struct SGate {
  std::promise<void> open;
  std::shared_future<void> opened{open.get_future()};
  std::atomic<int> arrived{0};

  std::function<void()> Hold() {
    return [this] {
      ++arrived;
      opened.wait();
    };
  }
};

TEST_F(GrpcTest, HangingHandlersTimeOutAndHoldUpNoOtherService) {
  SGate gate;
  peer.control->onSet = gate.Hold();
  constexpr int kCallers = 8;
  peer.Start();
  const auto begin = Clock::now();
  std::vector<std::future<Rpc::EStatus>> callers;
  for (int caller = 0; caller < kCallers; ++caller) {
    callers.push_back(std::async(std::launch::async, [this] { return Call(); }));
  }
  ASSERT_TRUE(network.Eventually([&] { return gate.arrived == 4; }));
  std::atomic<float> celsius{0.0F};
  Rpc::GrpcBackend backend;
  const auto client = std::make_shared<Rpc::CClient>("Peer", Channel());
  ipc::CNetMClient netM(client);
  const auto subscription = netM.TemperatureNotifications(
      {}, [&](const ipc::MTemperature& message) { celsius = message.celsius(); });
  peer.netM->Notify(5.0F);
  EXPECT_TRUE(network.Eventually([&] { return celsius == 5.0F; }));
  constexpr Rpc::SUnaryMethod<ipc::MEmpty, ipc::MEmpty> kUnknown{"/ipc.NetM/Guess"};
  EXPECT_EQ(client->Call(kUnknown, {}).status, Rpc::EStatus::Unimplemented);

  for (auto& caller : callers) EXPECT_EQ(caller.get(), Rpc::EStatus::Timeout);
  EXPECT_LT(Clock::now() - begin, std::chrono::seconds(1) + std::chrono::seconds(1));
  std::this_thread::sleep_for(std::chrono::milliseconds(200));  // the server learns that they gave up
  gate.open.set_value();
  // Those whose clients gave up before their turn are not carried out.
  EXPECT_EQ(client->Call(Rpc::SUnaryMethod<ipc::MEmpty, ipc::MResult>{kSet}, {}).status, Rpc::EStatus::Ok);
  EXPECT_TRUE(network.Eventually([&] { return peer.control->calls == 5; }));
}

TEST_F(GrpcTest, StopLetsARunningCallAnswerAndDoesNotWaitForOpenStreams) {
  SGate gate;
  peer.control->onSet = gate.Hold();
  peer.Start();
  ipc::CNetMClient netM(std::make_shared<Rpc::CClient>("Peer", Channel()));
  const auto subscription = netM.TemperatureNotifications({}, [](const ipc::MTemperature&) {});
  ASSERT_TRUE(network.Eventually([&] { return peer.netM->Subscribers() == 1; }));
  auto answer = std::async(std::launch::async, [this] { return Call(); });
  ASSERT_TRUE(network.Eventually([&] { return gate.arrived == 1; }));
  auto stopped = std::async(std::launch::async, [this] { peer.Stop(); });
  EXPECT_EQ(stopped.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
  gate.open.set_value();
  EXPECT_EQ(answer.get(), Rpc::EStatus::Ok);
  EXPECT_EQ(stopped.wait_for(std::chrono::seconds(2)), std::future_status::ready);
  EXPECT_EQ(peer.netM->Subscribers(), 0U);
}

TEST_F(GrpcTest, RefusesAHugeRequestAndServesOn) {
  peer.Start();
  const auto channel = Channel();
  EXPECT_EQ(channel->Call(kSet, std::string(70'000, 'x'), Milliseconds{900}).status, Rpc::EStatus::Failed);
  EXPECT_EQ(channel->Call(kSet, "", Milliseconds{900}).status, Rpc::EStatus::Ok);
  EXPECT_EQ(peer.control->calls, 1);
  EXPECT_THAT(log.Texts(Log::ELogLevel::Warning), ElementsAre(HasSubstr("above 65536 bytes")));
}

TEST_F(GrpcTest, DropsTheOldestNotificationsOfASlowSubscriber) {
  peer.Start();
  SGate gate;
  std::atomic<float> celsius{0.0F};
  ipc::CNetMClient netM(std::make_shared<Rpc::CClient>("Peer", Channel()));
  auto subscription = netM.TemperatureNotifications({}, [&](const ipc::MTemperature& message) {
    gate.Hold()();
    celsius = message.celsius();
  });
  ASSERT_TRUE(network.Eventually([&] { return peer.netM->Subscribers() == 1; }));
  // Far more than the connection's window takes while its reader stands still.
  constexpr int kMany = 100'000;
  for (int index = 1; index <= kMany; ++index) peer.netM->Notify(static_cast<float>(index));
  EXPECT_THAT(log.Texts(Log::ELogLevel::Warning), ElementsAre(HasSubstr("does not keep up")));
  gate.open.set_value();
  EXPECT_TRUE(network.Eventually([&] { return celsius == static_cast<float>(kMany); }));
}

}  // namespace
