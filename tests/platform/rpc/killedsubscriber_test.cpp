#include <csignal>
#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "networks.h"
#include "peer.h"

namespace {

constexpr const char* kAddressVariable = "RPC_TEST_ADDRESS";

/// The subscriber's process: the same program, started by the test below.
TEST(DISABLED_Subscriber, StaysUntilKilled) {
  Rpc::GrpcBackend backend;
  ipc::CNetMClient netM(
      std::make_shared<Rpc::CClient>("Peer", backend.Connect(std::getenv(kAddressVariable))));
  const auto subscription = netM.TemperatureNotifications({}, [](const ipc::MTemperature&) {});
  std::this_thread::sleep_for(std::chrono::minutes(1));
}

TEST(KilledSubscriberTest, LeavesNothingBehind) {
  RpcTest::CGrpc network;
  RpcTest::COneFile files;
  const std::string address = "unix:" + (network.Root() / "run/ipc/peer.sock").string();
  ::setenv(kAddressVariable, address.c_str(), 1);
  const pid_t subscriber = ::fork();
  if (subscriber == 0) {
    ::execl("/proc/self/exe", "subscriber", "--gtest_filter=DISABLED_Subscriber.*",
            "--gtest_also_run_disabled_tests", nullptr);
    ::_exit(1);
  }
  RpcTest::CPeer<Rpc::GrpcBackend> peer({}, files, network.Root());
  peer.Start();
  EXPECT_TRUE(network.Eventually([&] { return peer.netM->Subscribers() == 1; }));
  ::kill(subscriber, SIGKILL);
  EXPECT_EQ(::waitpid(subscriber, nullptr, 0), subscriber);
  EXPECT_TRUE(network.Eventually([&] { return peer.netM->Subscribers() == 0; }));
}

}  // namespace
