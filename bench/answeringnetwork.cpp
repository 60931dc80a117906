#include "bench/answeringnetwork.h"

#include <algorithm>
#include <deque>
#include <span>
#include <utility>
#include <vector>

#include "platform/worker/worker.h"

namespace {

constexpr std::uint8_t kMulticast = 0xff;
constexpr std::uint8_t kLinkLocal = 0xfe;

/// Follower N is fe80::N.
SUdpAddress AddressOf(std::uint32_t follower, std::uint16_t port) {
  SUdpAddress address{.scope = 1, .port = port};
  address.address[0] = kLinkLocal;
  address.address[1] = 0x80;
  address.address[15] = static_cast<std::uint8_t>(follower);
  return address;
}

}  // namespace

class CAnsweringNetwork::CSocket final : public IUdpSocket {
 public:
  CSocket(IScheduler& scheduler, CAnsweringFollowers& followers, const std::string& threadName)
      : mFollowers(followers), mWorker(scheduler, threadName) {
    mFollowers.SetAnswerHandler([this](std::uint32_t follower, std::vector<std::uint8_t> packet) {
      mAnswers.emplace_back(follower, std::move(packet));
      mWorker.NonBlockingCall([this] { HandOver(); });
    });
    mWorker.Start();
  }

  std::error_code Open() override { return {}; }
  std::error_code BindToDevice(const std::string& /*adapter*/) override { return {}; }
  std::error_code AllowAddressReuse() override { return {}; }
  std::error_code Bind(std::uint16_t port) override {
    mPort = port;
    return {};
  }
  std::error_code GetLocalAddress(SUdpAddress& /*local*/) const override { return {}; }
  std::error_code SetMulticastLoopback(bool /*enable*/) override { return {}; }
  std::error_code SetMulticastInterface(std::uint32_t /*index*/) override { return {}; }
  std::error_code JoinGroup(const SUdpAddress& /*group*/, std::uint32_t /*index*/) override { return {}; }
  void SetSentHandler(SentHandler /*handler*/) override {}

  void Receive(std::span<std::uint8_t> buffer, ReceiveHandler handler) override {
    mBuffer = buffer;
    mHandler = std::move(handler);
  }
  bool Send(std::span<const std::uint8_t> data, const SUdpAddress& to) override {
    if (to.address[0] == kMulticast) {
      mFollowers.HearAll(data);
    } else {
      mFollowers.Hear(to.address[15], data);
    }
    return true;
  }
  void Close() override { mWorker.Stop(); }

 private:
  void HandOver() {
    const auto [follower, packet] = std::move(mAnswers.front());
    mAnswers.pop_front();
    std::ranges::copy(packet, mBuffer.begin());
    std::exchange(mHandler, {})({}, packet.size(), AddressOf(follower, mPort));
  }

  CAnsweringFollowers& mFollowers;
  std::uint16_t mPort = 0;
  std::span<std::uint8_t> mBuffer;
  ReceiveHandler mHandler;
  std::deque<std::pair<std::uint32_t, std::vector<std::uint8_t>>> mAnswers;
  CWorker mWorker;  // stops before the rest goes
};

CAnsweringNetwork::CAnsweringNetwork(IScheduler& scheduler, CAnsweringFollowers& followers)
    : mScheduler(scheduler), mFollowers(followers) {}

std::unique_ptr<IUdpSocket> CAnsweringNetwork::CreateUdpSocket(const std::string& threadName) {
  return std::make_unique<CSocket>(mScheduler, mFollowers, threadName);
}
