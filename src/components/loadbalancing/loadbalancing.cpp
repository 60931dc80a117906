#include "src/components/loadbalancing/loadbalancing.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/log/log.h"
#include "platform/utility/wipe.h"
#include "src/communication/ethernetcommunication.h"
#include "src/components/loadbalancing/lbencryptedpacketparser.h"
#include "src/components/loadbalancing/lbfollowerprotocol.h"
#include "src/components/loadbalancing/leader/lbleaderprotocol.h"
#include "src/components/loadbalancing/leader/lbphaseimbalancealgorithm.h"
#include "src/components/loadbalancing/leader/lbreverseuniformalgorithm.h"
#include "src/components/loadbalancing/loadbalancingconfig.h"
#include "src/limitationsources/limits.h"

namespace {

constexpr auto kClassName = "CLoadBalancing";

/// What is absurd is clamped.
std::int32_t ToMilliAmpere(std::int32_t ampere) {
  const std::int64_t milliAmpere = std::int64_t{ampere} * 1000;
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(milliAmpere, 0, std::numeric_limits<std::int32_t>::max()));
}

}  // namespace

CLoadBalancing::CLoadBalancing(std::shared_ptr<ILbPhaseHandler> phaseHandler,
                               std::shared_ptr<CLoadBalancingConfig> config, StationMeter meter,
                               std::shared_ptr<IBlackoutProtection> blackoutProtection,
                               std::shared_ptr<IPowerLimitInput> powerLimitInput, SSurroundings surroundings)
    : mPhaseHandler(std::move(phaseHandler)),
      mConfig(std::move(config)),
      mMeter(std::move(meter)),
      mBlackoutProtection(std::move(blackoutProtection)),
      mPowerLimitInput(std::move(powerLimitInput)),
      mSurroundings(std::move(surroundings)) {
  LOG_ENTRY(kClassName);
}

CLoadBalancing::~CLoadBalancing() = default;

void CLoadBalancing::Init() {
  LOG_ENTRY(kClassName);
  if (!mConfig->GetEnable()) return;
  if (!mConfig->GetHwHasMeter()) {
    LOG_WARNING("{0} is true, but hardware has no meter. Ignoring value of {0}.", "GroupLoadBalancingEnable");
    return;
  }
  SMedium medium = CreateMedium();
  if (!medium.communication) return;
  mProtocol = CreateProtocol(std::move(medium));
  mProtocol->Start();
  if (mBlackoutProtection) mStartTime = mSurroundings.access.wallClock();
}

CLoadBalancing::SMedium CLoadBalancing::CreateMedium() const {
  const ELbInterface interface = mConfig->GetInterface();
  switch (interface) {
    case ELbInterface::Rs485:
      return {.communication = mSurroundings.access.createRs485(mSurroundings.line),
              .parser = std::make_unique<CLbPacketParser>(),
              .isLine = true};
    case ELbInterface::Ethernet:
    case ELbInterface::Wlan:
    case ELbInterface::WlanAp:
      return CreateNetworkMedium(mConfig->GetAdapter(interface));
  }
  LOG_ERROR("Invalid interface configured for group loadbalancing, cannot initialize.");
  return {};
}

CLoadBalancing::SMedium CLoadBalancing::CreateNetworkMedium(const std::string& adapter) const {
  const SGroupAccess& access = mSurroundings.access;
  if (!access.network || !access.createRandom) {
    LOG_ERROR("There is no network for group load balancing, cannot initialize.");
    return {};
  }
  const std::uint16_t groupId = mConfig->GetGroupId();
  auto communication = std::make_shared<CEthernetCommunication>(
      CEthernetCommunication::SSurroundings{
          .scheduler = mSurroundings.scheduler, .network = *access.network, .random = access.createRandom()},
      adapter, kPort, groupId);
  auto parser = std::make_unique<CLbEncryptedPacketParser>(access.createRandom());
  std::string password = mConfig->GetPassword();
  const CWipeAtEnd wipe(password);
  if (!parser->Initialize(password, groupId)) {
    LOG_ERROR("Failed to initialize encryption for ethernet group load balancing.");
    return {};
  }
  return {.communication = std::move(communication), .parser = std::move(parser)};
}

std::shared_ptr<CLbProtocolBase> CLoadBalancing::CreateProtocol(SMedium medium) const {
  CLbProtocolBase::SSurroundings surroundings{.scheduler = mSurroundings.scheduler,
                                              .phaseHandler = mPhaseHandler,
                                              .config = mConfig,
                                              .communication = std::move(medium.communication),
                                              .parser = std::move(medium.parser),
                                              .setLimit = mSurroundings.setLimit,
                                              .meter = mMeter};
  if (mConfig->GetRole()) return CreateLeader(std::move(surroundings), medium.isLine);
  LOG_INFO("Running follower protocol.");
  mSurroundings.signals.role->SendText("Follower");
  if (mBlackoutProtection)
    LOG_WARNING(
        "CurrentCtrlBopEnable does nothing in a follower: the meter at the main fuse has to be the leader's");
  return std::make_shared<CLbFollowerProtocol>(std::move(surroundings), mSurroundings.signals.undiscovered);
}

std::shared_ptr<CLbProtocolBase> CLoadBalancing::CreateLeader(CLbProtocolBase::SSurroundings surroundings,
                                                              bool isLine) const {
  LOG_INFO("Running leader protocol.");
  mSurroundings.signals.role->SendText("Leader");
  auto phaseImbalance = std::make_shared<CLbPhaseImbalanceAlgorithm>(
      mConfig->GetPhaseImbalanceEnable(), ToMilliAmpere(mConfig->GetPhaseImbalanceLimit()));
  auto algorithm =
      std::make_shared<CLbReverseUniformAlgorithm>(std::move(phaseImbalance), mBlackoutProtection);
  return std::make_shared<CLbLeaderProtocol>(
      std::move(surroundings), CLbLeaderProtocol::SParts{.algorithm = std::move(algorithm),
                                                         .blackoutProtection = mBlackoutProtection,
                                                         .powerLimitInput = mPowerLimitInput,
                                                         .period = kLeaderPeriod,
                                                         .isLine = isLine});
}

void CLoadBalancing::Enable() {
  LOG_ENTRY(kClassName);
  if (mProtocol) mProtocol->Enable();
}

void CLoadBalancing::Disable() {
  LOG_ENTRY(kClassName);
  if (mProtocol) mProtocol->Disable();
}

SLimit CLoadBalancing::GetLimit() {
  constexpr std::uint32_t kMost = std::numeric_limits<std::int32_t>::max();
  const std::uint32_t milliAmpere = mProtocol ? std::min(mProtocol->GetLimit(), kMost) : 0;
  return {.source = ipc::ECurrentControlLoadBal,
          .milliAmpere = static_cast<std::int32_t>(milliAmpere),
          .phases = kLimitedPhases};
}

std::optional<SLbGroupView> CLoadBalancing::Describe() const {
  return mProtocol ? std::optional(mProtocol->Describe()) : std::nullopt;
}
