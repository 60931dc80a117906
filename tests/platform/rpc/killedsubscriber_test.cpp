#include <csignal>
#include <thread>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "networks.h"
#include "peer.h"

namespace {

TEST(KilledSubscriberTest, LeavesNothingBehind) {
  RpcTest::CGrpc network;
  const pid_t subscriber = ::fork();  // before this process has anything of gRPC
  if (subscriber == 0) {
    Rpc::GrpcBackend backend;
    const auto channel = "unix:" + (network.Root() / "run/ipc/peer.sock").string();
    ipc::CNetMClient netM(std::make_shared<Rpc::CClient>("Peer", backend.Connect(channel)));
    const auto subscription = netM.TemperatureNotifications({}, [](const ipc::MTemperature&) {});
    std::this_thread::sleep_for(std::chrono::minutes(1));
    ::_exit(1);
  }
  CMemoryFiles files;
  RpcTest::CPeer<Rpc::GrpcBackend> peer({}, files, network.Root());
  peer.Start();
  EXPECT_TRUE(network.Eventually([&] { return peer.netM->Subscribers() == 1; }));
  ::kill(subscriber, SIGKILL);
  EXPECT_EQ(::waitpid(subscriber, nullptr, 0), subscriber);
  EXPECT_TRUE(network.Eventually([&] { return peer.netM->Subscribers() == 0; }));
}

}  // namespace
