#include "src/components/loadbalancing/lbfollowerprotocol.h"

#include <chrono>
#include <utility>

#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/log/log.h"
#include "src/components/loadbalancing/ilbphasehandler.h"
#include "src/components/loadbalancing/loadbalancingconfig.h"

namespace {

constexpr auto kClassName = "CLbFollowerProtocol";

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
                                            const std::shared_ptr<Endpoint>& endpoint,
                                            std::uint32_t /*sends*/) {
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
  ApplyLimit(isPhaseDiscovery ? kLbPhaseDiscoveryMilliAmpere : request.milliAmpere, request.milliAmpere,
             isFlagged);
  SendMessage(
      LbMessages::Write(LbMessages::SLimitAnswer{.serialNumber = *OwnSerialNumber(), .load = ReadLoad()}),
      endpoint);
  EnterDiscovered();
  mLeader = endpoint.ToString();
  mHeard = Now();
  mTimeout = Worker().AddCall([this] { OnCommunicationTimeout(); }, kLbCommunicationTimeout);
}

SLbGroupView CLbFollowerProtocol::DescribeRole() {
  SLbGroupView view;
  view.isLeader = false;
  const SLbLoad load = ReadLoad();
  view.stations.push_back(
      {.serialNumber = OwnSerialNumber().value_or(LbSerialNumber{}),
       .address = mLeader,
       .state = mState == EState::Discovered ? ELbStationState::Led : ELbStationState::Silent,
       .isOwn = true,
       .phases = DrawingLbPhases(load.milliAmpere),
       .limitMilliAmpere = GetLimit(),
       .drawnMilliAmpere = load.milliAmpere,
       .fallbackMilliAmpere = mFallback,
       .heardAgo =
           mHeard ? std::optional(std::chrono::duration_cast<Milliseconds>(Now() - *mHeard)) : std::nullopt});
  return view;
}
