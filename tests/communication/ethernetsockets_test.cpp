#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "platform/crypto/wolfrandom.h"
#include "platform/log/logcapture.h"
#include "platform/network/asionetwork.h"
#include "platform/worker/realscheduler.h"
#include "src/communication/ethernetcommunication.h"
#include "support/eventually.h"

namespace {

constexpr std::uint16_t kPort = 23069;
const std::vector<std::uint8_t> kCall{0x22};
const std::vector<std::uint8_t> kAnswer{0x33};

/// One of several on this machine's loopback adapter; answers calls to their sender.
struct SInstance {
  SInstance() {
    communication.SetDataReceivedHandler([this](const auto& endpoint) {
      auto& buffer = endpoint->GetReceiveBuffer();
      (buffer.back() == kCall.front() ? calls : answers) += 1;
      endpoint->AcceptMetadata(endpoint->GetMetadata(true));
      if (buffer.back() == kCall.front()) endpoint->SendData(kAnswer);
      buffer.clear();
    });
  }

  CRealScheduler scheduler;
  CAsioNetwork network;
  std::atomic<int> calls{0};
  std::atomic<int> answers{0};
  CEthernetCommunication communication{{scheduler, network, std::make_unique<CWolfRandom>()}, "lo", kPort, 7};
};

TEST(EthernetSocketsTest, LetsInstancesOnOneMachineHearEachOther) {
  const CLogCapture log(Log::ELogLevel::Debug);
  SInstance first;
  SInstance second;
  if (!first.communication.Start()) GTEST_SKIP() << "this machine has no way to any group";
  ASSERT_TRUE(second.communication.Start());
  EXPECT_TRUE(Eventually([&] {
    first.communication.BroadcastData(kCall);
    return first.calls > 0 && second.calls > 0 && first.answers + second.answers > 0;
  }));
  for (int round = 0; round < 20; ++round) {
    std::thread sender([&] {
      for (int i = 0; i < 50; ++i) second.communication.BroadcastData(kCall);
    });
    first.communication.Stop();
    EXPECT_TRUE(first.communication.Start());
    sender.join();
  }
  const int before = first.calls;
  EXPECT_TRUE(Eventually([&] {
    second.communication.BroadcastData(kCall);
    return first.calls > before;
  }));
}

}  // namespace
