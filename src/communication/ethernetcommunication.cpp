#include "src/communication/ethernetcommunication.h"

#include <chrono>
#include <utility>

#include <fmt/format.h>

#include "platform/crypto/cryptoerror.h"
#include "platform/log/log.h"
#include "src/communication/ethernetendpoint.h"
#include "src/communication/ethernetlink.h"
#include "src/communication/ethernetpeers.h"
#include "src/communication/groupsocket.h"

namespace {

constexpr auto kClassName = "CEthernetCommunication";
constexpr auto kWorkerName = "ethernet";
constexpr auto kSocketName = "ethernetloop";
constexpr Milliseconds kResponseTime{250};
constexpr Milliseconds kExtendedResponseTime{500};
constexpr std::uint32_t kCapacity = 99;

void OnSent(const std::error_code& error, std::size_t sent, std::span<const std::uint8_t> data,
            const SUdpAddress& to) {
  if (error) {
    LOG_DEBUG("Could not send packet ({:d}/{:d} bytes) to endpoint {:s}:{:d}, error {:d}: {:s}.", sent,
              data.size(), ToText(to), to.port, error.value(), error.message());
  } else if (sent < data.size()) {
    LOG_ERROR("Could not send {:d} bytes to endpoint {:s}:{:d}, sent={:d} bytes.", data.size(), ToText(to),
              to.port, sent);
  }
}

}  // namespace

CEthernetCommunication::CEthernetCommunication(SSurroundings surroundings, std::string adapter,
                                               std::uint16_t port, std::uint16_t groupId)
    : mNetwork(surroundings.network),
      mAdapter(std::move(adapter)),
      mPort(port),
      mGroupId(groupId),
      mLink(std::make_shared<CEthernetLink>(surroundings.scheduler, std::move(surroundings.random))),
      mPeers(std::make_unique<CEthernetPeers>(mLink)),
      mWorker(surroundings.scheduler, kWorkerName) {
  LOG_ENTRY(kClassName);
}

CEthernetCommunication::~CEthernetCommunication() {
  LOG_ENTRY(kClassName);
  CEthernetCommunication::Stop();
}

bool CEthernetCommunication::Start() {
  LOG_ENTRY(kClassName);
  if (mIsStarted) return false;
  const std::uint32_t index = IsLoopback() ? 0 : mNetwork.FindInterfaceIndex(mAdapter);
  if (std::string failure = WhyNotToStart(index); !failure.empty()) return Fail(std::move(failure));
  if (!SetUp(index)) return false;
  mIsStarted = true;
  mWorker.Start();
  Receive();
  if (!IsLoopback())
    mAdapterCheck = mWorker.AddCall([this] { CheckAdapter(); }, kAdapterCheck, kAdapterCheck);
  return true;
}

/// Empty: it may.
std::string CEthernetCommunication::WhyNotToStart(std::uint32_t index) const {
  if (mGroupId == 0) {
    return fmt::format("Invalid group identifier: '{:d}'. Not starting ethernet group loadbalancing.",
                       mGroupId);
  }
  if (const int code = mLink->RandomInitCode(); code != 0)
    return fmt::format("wc_InitRng failed, rc={:d}, msg={:s}", code, CryptoErrorText(code));
  if (!IsLoopback() && index == 0)
    return fmt::format("Could not get interface index for adapter '{:s}'.", mAdapter);
  return "";
}

bool CEthernetCommunication::SetUp(std::uint32_t index) {
  Announce(index);
  std::string failure;
  auto opened = OpenGroupSocket(
      mNetwork.CreateUdpSocket(kSocketName),
      {.adapter = mAdapter, .isLoopback = IsLoopback(), .index = index, .port = mPort, .groupId = mGroupId},
      failure);
  if (!opened) return Fail(std::move(failure));
  mFailure.clear();
  mAnnounced.clear();
  mReceiveError.clear();
  mIndex = index;
  mSocket = std::move(opened->socket);
  mSocket->SetSentHandler(OnSent);
  mLink->Attach(*mSocket, opened->group);
  return true;
}

/// What is begun again because it failed is not news.
void CEthernetCommunication::Announce(std::uint32_t index) {
  std::string text =
      fmt::format("Starting ethernet group load balancing communication on interface {:s} with index {:d}...",
                  mAdapter, index);
  if (text == mAnnounced) return;
  if (IsLoopback()) LOG_WARNING("Using unscoped communication on adapter 'lo', with loopback mode enabled.");
  LOG_INFO("{}", text);
  mAnnounced = std::move(text);
}

/// The same one again is not told.
bool CEthernetCommunication::Fail(std::string failure) {
  if (failure != mFailure) LOG_ERROR("{}", failure);
  mFailure = std::move(failure);
  return false;
}

void CEthernetCommunication::Stop() {
  LOG_ENTRY(kClassName);
  if (!std::exchange(mIsStarted, false)) return;
  LOG_INFO("Stopping ethernet group load balancing communication...");
  mWorker.Stop();
  CloseSocket();
}

void CEthernetCommunication::CloseSocket() {
  if (!mSocket) return;
  mLink->Detach();
  mSocket->Close();
  mSocket.reset();
  mNextReceive.Cancel();
  mPeers->Clear();
}

bool CEthernetCommunication::BroadcastData(std::span<const std::uint8_t> data) {
  LOG_ENTRY(kClassName);
  return mLink->SendToGroup(data);
}

Milliseconds CEthernetCommunication::GetResponseTime(bool extended) const {
  return extended ? kExtendedResponseTime : kResponseTime;
}

std::uint32_t CEthernetCommunication::GetCapacity() const {
  return kCapacity;
}

void CEthernetCommunication::SetDataReceivedHandler(DataReceivedHandler handler) {
  mHandler = std::move(handler);
}

void CEthernetCommunication::Receive() {
  mSocket->Receive(mBuffer, [this](const std::error_code& error, std::size_t received,
                                   const SUdpAddress& sender) { OnReceived(error, received, sender); });
}

void CEthernetCommunication::OnReceived(const std::error_code& error, std::size_t received,
                                        const SUdpAddress& sender) {
  if (error == std::errc::operation_canceled) {
    LOG_INFO("Stopping receive on ethernet group load balancing.");
    return;
  }
  if (error) return OnReceiveError(error, received);
  mReceiveError.clear();
  LOG_DEBUG("Received {:d} bytes from {:s}:{:d}.", received, ToText(sender), sender.port);
  Deliver(std::span(mBuffer).first(received), sender);
  Receive();
}

void CEthernetCommunication::OnReceiveError(const std::error_code& error, std::size_t received) {
  if (std::exchange(mReceiveError, error) != error)
    LOG_ERROR("Failed to receive {:d} bytes, error {:d}: {:s}", received, error.value(), error.message());
  mNextReceive = mWorker.AddCall([this] { Receive(); }, kReceivePause);
}

void CEthernetCommunication::Deliver(std::span<const std::uint8_t> data, const SUdpAddress& sender) {
  if (data.empty()) return;
  if (!mHandler) {
    if (!std::exchange(mIsMissingHandlerTold, true)) LOG_ERROR("No DataReceived handler");
    return;
  }
  const auto found = mPeers->FindOrAdd(sender);
  if (found.isFirst) mWorker.NonBlockingCall([this] { ExpirePeers(); });
  found.peer->Receive(data);
  mHandler(found.peer);
  if (found.isNewcomer && found.peer->IsProven()) mPeers->Settle(sender);
}

void CEthernetCommunication::CheckAdapter() {
  const std::uint32_t index = mNetwork.FindInterfaceIndex(mAdapter);
  if (mSocket && index != mIndex) {
    LOG_ERROR("Adapter '{:s}' has gone away, waiting for it.", mAdapter);
    CloseSocket();
  }
  if (mSocket || index == 0 || !SetUp(index)) return;
  LOG_INFO("Adapter '{:s}' is there again, listening.", mAdapter);
  Receive();
}

void CEthernetCommunication::ExpirePeers() {
  const auto next = mPeers->Expire();
  if (!next) return;
  const auto pause = std::chrono::ceil<Milliseconds>(*next - mLink->Now());
  mExpiry = mWorker.AddCall([this] { ExpirePeers(); }, pause);
}
