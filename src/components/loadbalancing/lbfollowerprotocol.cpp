#include "src/components/loadbalancing/lbfollowerprotocol.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/log/log.h"
#include "platform/utility/text.h"
#include "src/components/loadbalancing/ilbphasehandler.h"
#include "src/components/loadbalancing/loadbalancingconfig.h"
#include "src/limitationsources/limits.h"

namespace {

constexpr auto kClassName = "CLbFollowerProtocol";
constexpr auto kUsualRotation = "RST";

/// Truncated to whole mA; what no message can hold is clamped.
std::uint32_t ToMilliAmpere(float ampere) {
  constexpr float kBeyond = 4294967296.0F;
  const float milliAmpere = ampere * kMilliAmperePerAmpere;
  if (!(milliAmpere > 0.0F)) return 0;
  return milliAmpere < kBeyond ? static_cast<std::uint32_t>(milliAmpere)
                               : std::numeric_limits<std::uint32_t>::max();
}

}  // namespace

CLbFollowerProtocol::CLbFollowerProtocol(SSurroundings surroundings,
                                         std::shared_ptr<CDiagnosticsSignal> undiscovered)
    : CLbProtocolBase(std::move(surroundings)), mUndiscovered(std::move(undiscovered)) {
  LOG_ENTRY(kClassName);
}

CLbFollowerProtocol::~CLbFollowerProtocol() {
  LOG_ENTRY(kClassName);
  Stop();
}

void CLbFollowerProtocol::Enable() {
  LOG_ENTRY(kClassName);
  Worker().BlockingCall([this] {
    if (mState != EState::Disabled) return;
    mTimeout.Cancel();
    mFallback = ReadFallback();
    PhaseRotation();  // a wrong one is told now, and not when a leader asks
    EnterUndiscovered();
  });
}

void CLbFollowerProtocol::Disable() {
  LOG_ENTRY(kClassName);
  Worker().NonBlockingCall([this] {
    mTimeout.Cancel();
    ApplyLimit(0);
    mUndiscovered->Send(false);
    mState = EState::Disabled;
  });
}

std::uint32_t CLbFollowerProtocol::StateNumber() const {
  return static_cast<std::uint32_t>(mState.load());
}

void CLbFollowerProtocol::EnterUndiscovered() {
  mUndiscovered->Send(true);
  mState = EState::Undiscovered;
  ApplyLimit(mFallback);
}

void CLbFollowerProtocol::EnterDiscovered() {
  mUndiscovered->Send(false);
  if (mState != EState::Discovered) {
    LOG_INFO("Reached state discovered.");
    mState = EState::Discovered;
  }
}

void CLbFollowerProtocol::Reset() {
  mTimeout.Cancel();
  ApplyLimit(0);
  EnterUndiscovered();
}

void CLbFollowerProtocol::OnCommunicationTimeout() {
  LOG_WARNING("Communication timeout occurred, resetting to undiscovered.");
  EnterUndiscovered();
}

void CLbFollowerProtocol::OnMessageReceived(const SLbMessage& message,
                                            const std::shared_ptr<Endpoint>& endpoint) {
  if (mState == EState::Disabled || HasFallbackChanged()) return;
  switch (static_cast<ELbMessage>(message.Id())) {
    case ELbMessage::Reset:
      LOG_INFO("Reset received from leader, transitioning to undiscovered.");
      Reset();
      break;
    case ELbMessage::Discovery:
      OnDiscovery(message, *endpoint);
      break;
    case ELbMessage::InfoRequest:
      if (IsOwn(message)) SendMessage(LbMessages::InfoAnswer(*OwnSerialNumber()), *endpoint);
      break;
    case ELbMessage::FallbackRequest:
      if (IsOwn(message)) SendMessage(LbMessages::FallbackAnswer(*OwnSerialNumber(), mFallback), *endpoint);
      break;
    case ELbMessage::LimitRequest:
      if (IsOwn(message)) OnLimitRequest(message, *endpoint);
      break;
    default:  // what other followers say
      break;
  }
}

bool CLbFollowerProtocol::HasFallbackChanged() {
  const std::uint32_t fallback = ReadFallback();
  if (fallback == mFallback) return false;
  LOG_INFO("Fallback current changed from {} to {}, resetting to undiscovered.", mFallback, fallback);
  mFallback = fallback;
  Reset();
  return true;
}

std::uint32_t CLbFollowerProtocol::ReadFallback() const {
  return ToMilliAmpere(Config().GetFallbackCurrent());
}

bool CLbFollowerProtocol::IsOwn(const SLbMessage& message) const {
  return OwnSerialNumber() && LbMessages::SerialNumberOf(message) == *OwnSerialNumber();
}

void CLbFollowerProtocol::OnDiscovery(const SLbMessage& message, Endpoint& endpoint) {
  const auto discovery = LbMessages::ReadDiscovery(message);
  if (mState != EState::Undiscovered || !OwnSerialNumber() ||
      !HasLbPrefix(*OwnSerialNumber(), discovery.prefix, discovery.prefixBits) ||
      discovery.version != kLbProtocolVersion)
    return;
  SendMessage(endpoint.IsNetworkEndpoint() ? LbMessages::DiscoveryAnswer(*OwnSerialNumber())
                                           : LbMessages::LineDiscoveryAnswer(),
              endpoint);
}

void CLbFollowerProtocol::OnLimitRequest(const SLbMessage& message, Endpoint& endpoint) {
  const auto request = LbMessages::ReadLimitRequest(message);
  const bool isFlagged = (request.flags & kLbPhaseDiscoveryFlag) != 0;
  const bool isPhaseDiscovery = request.milliAmpere == 0 && isFlagged;
  ApplyLimit(isPhaseDiscovery ? kPhaseDiscoveryMilliAmpere : request.milliAmpere, request.milliAmpere,
             isFlagged);
  SendMessage(LbMessages::Write(DescribeLoad()), endpoint);
  EnterDiscovered();
  mTimeout = Worker().AddCall([this] { OnCommunicationTimeout(); }, kCommunicationTimeout);
}

LbMessages::SLimitAnswer CLbFollowerProtocol::DescribeLoad() {
  const auto meter = ReadMeter();
  std::array<std::uint32_t, 3> drawn{};
  std::uint8_t report = PhaseHandler().GetReport();
  if (meter) {
    // A current that flows back is none that the group has to share.
    std::ranges::transform(meter->milliAmpere, drawn.begin(), [](std::int32_t milliAmpere) {
      return static_cast<std::uint32_t>(std::max(milliAmpere, 0));
    });
  } else if (const std::uint32_t mostDrawn = MostDrawn(); mostDrawn != 0) {
    drawn.fill(mostDrawn);
    report |= ILbPhaseHandler::kDrawsOnAll;
  }
  return {
      .serialNumber = *OwnSerialNumber(), .milliAmpere = PhaseRotation().ToSupply(drawn), .report = report};
}

const CLbPhaseRotation& CLbFollowerProtocol::PhaseRotation() {
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
