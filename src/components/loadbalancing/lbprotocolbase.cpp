#include "src/components/loadbalancing/lbprotocolbase.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include <fmt/format.h>

#include "platform/log/log.h"
#include "platform/utility/text.h"
#include "src/components/loadbalancing/ilbphasehandler.h"
#include "src/components/loadbalancing/loadbalancingconfig.h"
#include "src/limitationsources/limits.h"

namespace {

constexpr auto kClassName = "CLbProtocolBase";
constexpr auto kUsualRotation = "RST";

constexpr CStationMeterWatch::STexts kMeterTexts{
    .silent =
        "The station's meter is silent: in the group it counts with whatever its vehicle may be drawing, so "
        "that nobody else gets it",
    .back = "The station's meter is there again, in the group it counts with what it shows"};

float ToAmpere(std::uint32_t milliAmpere) {
  return static_cast<float>(milliAmpere) / kMilliAmperePerAmpere;
}

std::uint32_t ToMilliAmpere(float ampere) {
  constexpr float kBeyond = 4294967296.0F;
  const float milliAmpere = ampere * kMilliAmperePerAmpere;
  if (!(milliAmpere > 0.0F)) return 0;
  return milliAmpere < kBeyond ? static_cast<std::uint32_t>(milliAmpere)
                               : std::numeric_limits<std::uint32_t>::max();
}

}  // namespace

CLbProtocolBase::CLbProtocolBase(SSurroundings surroundings)
    : mSurroundings(std::move(surroundings)),
      mMeter(mSurroundings.meter, kMeterTexts),
      mWorker(mSurroundings.scheduler, "LoadBalancing") {
  mWorker.Start();
}

CLbProtocolBase::~CLbProtocolBase() {
  CLbProtocolBase::Stop();
}

void CLbProtocolBase::Start() {
  LOG_ENTRY(kClassName);
  ReadOwnSerialNumber();
  mSurroundings.parser->SetMessageHandler(
      [this](const SLbMessage& message, const std::shared_ptr<Endpoint>& endpoint) {
        TakeMessage(message, endpoint);
      });
  mSurroundings.communication->SetDataReceivedHandler(
      [this](const std::shared_ptr<Endpoint>& endpoint) { TakeBytes(endpoint); });
  mWorker.BlockingCall([this] { SetUpCommunication(); });
}

void CLbProtocolBase::Stop() {
  LOG_ENTRY(kClassName);
  mWorker.Stop();  // first, so that communication is not set up again
  mSurroundings.communication->Stop();
  mSurroundings.communication->SetDataReceivedHandler({});
}

void CLbProtocolBase::ReadOwnSerialNumber() {
  const auto text = Config().GetMainboardSn();
  if (text) mOwnSerialNumber = ToLbSerialNumber(*text);
  if (!mOwnSerialNumber) return;
  const LbSerialNumber& sn = *mOwnSerialNumber;
  LOG_INFO("Using SN '{}' ({:02x}:{:02x}:{:02x}:{:02x}:{:02x}:{:02x})", *text, sn[0], sn[1], sn[2], sn[3],
           sn[4], sn[5]);
}

void CLbProtocolBase::SetUpCommunication() {
  if (mSurroundings.communication->Start()) {
    if (mIsFailureTold) LOG_INFO("Communication is set up, load balancing has started");
    mIsUp = true;
    OnCommunicationUp();
    return;
  }
  if (!std::exchange(mIsFailureTold, true))
    LOG_ERROR("Could not set up communication, failed to start load balancing");
  mNextAttempt = mWorker.AddCall([this] { SetUpCommunication(); }, mBackOff.Next());
}

void CLbProtocolBase::SendMessage(const SLbMessage& message, Endpoint& endpoint) {
  Send(message, &endpoint);
}

void CLbProtocolBase::BroadcastMessage(const SLbMessage& message) {
  Send(message, nullptr);
}

void CLbProtocolBase::Send(const SLbMessage& message, Endpoint* endpoint) {
  const auto packet = mSurroundings.parser->Serialize(message, endpoint);
  if (packet.empty()) return;  // the parser said why
  // From the serialisation on the parser takes no answer to an earlier request of that peer's any more.
  ++mSends;
  LOG_DEBUG("Sending message of {:d} bytes with id 0x{:02X}{:s}", packet.size(), message.Id(),
            endpoint != nullptr ? fmt::format(" to {:s}", endpoint->ToString()) : "");
  if (endpoint != nullptr) {
    endpoint->SendData(packet);
  } else {
    mSurroundings.communication->BroadcastData(packet);
  }
}

/// What happens before the first message of the group is a matter of the settings; later it is noise.
void CLbProtocolBase::TellOfStrangers(const Endpoint& endpoint) {
  if (mHasUnderstood || !endpoint.IsNetworkEndpoint() || std::exchange(mIsStrangerTold, true)) return;
  LOG_WARNING(
      "{:s} sends what is no message of this group: is GroupLoadBalancingPassword in secrets.json the same "
      "there?",
      endpoint.ToString());
}

void CLbProtocolBase::TakeBytes(const std::shared_ptr<Endpoint>& endpoint) {
  mSendsBefore = mSends;
  OnBytesReceived(*endpoint);
  mSurroundings.parser->Parse(endpoint);
  TellOfStrangers(*endpoint);
}

void CLbProtocolBase::TakeMessage(const SLbMessage& message, const std::shared_ptr<Endpoint>& endpoint) {
  LOG_DEBUG("Received message with id 0x{:02X} in state {:d} from {:s}", message.Id(), StateNumber(),
            endpoint->ToString());
  mHasUnderstood = true;
  if (mWaiting >= kMostWaiting) {
    if (!mIsFloodTold.exchange(true))
      LOG_WARNING("Messages of the group come faster than they can be handled, dropping some of {:s}",
                  endpoint->ToString());
    return;
  }
  ++mWaiting;
  mWorker.NonBlockingCall([this, message, endpoint, sends = mSendsBefore] {
    if (--mWaiting == 0) mIsFloodTold = false;
    OnMessageReceived(message, endpoint, sends);
  });
}

void CLbProtocolBase::ApplyLimit(std::uint32_t milliAmpere, std::uint32_t askedMilliAmpere,
                                 bool isPhaseDiscovery) {
  mLimit = milliAmpere;
  mRecentLimits.Set(milliAmpere, mSurroundings.scheduler.Now());
  mSurroundings.setLimit(ToAmpere(milliAmpere));
  PhaseHandler().SetLimit(askedMilliAmpere, isPhaseDiscovery);
}

SLbLoad CLbProtocolBase::ReadLoad() {
  const auto meter = mMeter.Read();
  std::array<std::uint32_t, 3> drawn{};
  std::uint8_t report = PhaseHandler().GetReport();
  if (meter) {
    // A current that flows back is none that the group has to share.
    std::ranges::transform(meter->milliAmpere, drawn.begin(), [](std::int32_t milliAmpere) {
      return static_cast<std::uint32_t>(std::max(milliAmpere, 0));
    });
  } else if (const std::uint32_t mostDrawn = mRecentLimits.Largest(Now()); mostDrawn != 0) {
    drawn.fill(mostDrawn);
    report |= ILbPhaseHandler::kDrawsOnAll;
  }
  return {.milliAmpere = PhaseRotation().ToSupply(drawn), .report = report};
}

std::uint32_t CLbProtocolBase::ReadFallback() const {
  return ToMilliAmpere(Config().GetFallbackCurrent());
}

std::uint32_t CLbProtocolBase::ReadSupply() const {
  return ToMilliAmpere(Config().GetCurrentCapacity());
}

const CLbPhaseRotation& CLbProtocolBase::PhaseRotation() {
  auto text = Config().GetPhaseRotation();
  if (text != mPhaseRotationText) {
    const auto rotation = CLbPhaseRotation::Parse(text);
    if (!rotation)
      LOG_WARNING("Invalid value '{}' for PhaseRotation in settings.json. Defaulting to '{}'.",
                  Text::InOneLine(text), kUsualRotation);
    mPhaseRotation = rotation ? rotation : CLbPhaseRotation::Parse(kUsualRotation);
    mPhaseRotationText = std::move(text);
  }
  return *mPhaseRotation;
}

SLbGroupView CLbProtocolBase::Describe() {
  SLbGroupView view;
  mWorker.BlockingCall([&] { view = DescribeRole(); });
  return view;
}
