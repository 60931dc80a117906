#include "src/currentcontrol/limitingcomponents.h"

#include <utility>

#include "platform/log/log.h"
#include "src/components/blackoutprotection/blackoutprotection.h"
#include "src/components/blackoutprotection/blackoutprotectiondglb.h"
#include "src/components/currentcontrolconfig.h"
#include "src/components/currentlimiter.h"
#include "src/components/loadbalancing/lbphasehandler.h"
#include "src/components/loadbalancing/loadbalancing.h"
#include "src/components/loadbalancing/loadbalancingconfig.h"
#include "src/components/measurementsources/measurementsourcefactory.h"
#include "src/components/overcurrentprotection.h"
#include "src/components/phaseimbalancemonitor.h"
#include "src/components/solarcharging.h"
#include "src/components/usercablelimit.h"
#include "src/diagnosticssignals/diagnosticssignals.h"
#include "src/limitationsources/limits.h"
#include "src/rpc/clients/chargecontrolservice.h"

namespace {

/// As often as the house is measured.
constexpr Milliseconds kBlackoutProtectionPeriod = kSamplingPeriod;

float ToAmpere(std::int32_t milliAmpere) {
  return static_cast<float>(milliAmpere) / kMilliAmperePerAmpere;
}

}  // namespace

CLimitingComponents::CLimitingComponents(SSurroundings surroundings)
    : mSurroundings(std::move(surroundings)),
      mWorker(mSurroundings.scheduler, "Limits"),
      mTolerated(mSurroundings.scheduler,
                 [this](std::uint32_t milliAmpere) { mOvercurrentProtection->UpdateLimit(milliAmpere); }) {
  const CCurrentControlConfig& config = *mSurroundings.config;
  std::optional<SBlackoutProtectionParts> parts;
  if (config.GetBopEnable()) parts = BlackoutProtectionParts();
  const bool isInGroup = config.GetGroupLoadBalancingEnable() && JoinGroup(parts);
  if (parts && !isInGroup) mInOrder.push_back(CreateBlackoutProtection(*parts));
  if (!config.IsFixedCable()) mInOrder.push_back(mCable = CreateCableLimit());
  if (config.PhaseImbalanceEnabled()) mInOrder.push_back(CreatePhaseImbalanceMonitor());
  mInOrder.push_back(mOvercurrentProtection = CreateOvercurrentProtection());
  if (config.GetSolarChargingAllowed()) {
    mInOrder.push_back(CreateSolarCharging());
  } else if (config.GetSolarChargingEnable()) {
    LOG_WARNING(
        "Solar charging is enabled but not allowed: set SolarChargingAllowed in settings.json to true, "
        "which counts from the next start");
  }
  mSurroundings.chargeControl->OnTaken(
      [this](std::uint32_t milliAmpere, std::uint32_t /*phases*/) { mTolerated.SetSetpoint(milliAmpere); });
  mWorker.Start();
}

CLimitingComponents::~CLimitingComponents() {
  mSurroundings.chargeControl->OnTaken({});
  mWorker.Stop();
}

void CLimitingComponents::Hold() {
  for (const auto& component : mHeld) SetLimit(component->GetLimit());
}

void CLimitingComponents::SetChargingState(ipc::EChargingState state) {
  for (const auto& follower : mFollowers) follower->SetChargingState(state);
}

std::optional<SLbGroupView> CLimitingComponents::DescribeGroup() const {
  return mLoadBalancing ? mLoadBalancing->Describe() : std::nullopt;
}

CLimitingComponents::SBlackoutProtectionParts CLimitingComponents::BlackoutProtectionParts() const {
  const auto& config = mSurroundings.config;
  const auto& signal = mSurroundings.signal;
  return {.source = mSurroundings.sources.Create(config->GetBopSource(), config->GetBopSourceParameters()),
          .signals = {.current = signal(DiagnosticsSignals::kBopCurrent),
                      .constraint = signal(DiagnosticsSignals::kBopConstraint),
                      .meterFailure = signal(DiagnosticsSignals::kBopMeterFailure),
                      .usingFallback = signal(DiagnosticsSignals::kBopUsingFallback),
                      .invalidConfig = signal(DiagnosticsSignals::kBopInvalidConfig),
                      .sourceUnusable = signal(DiagnosticsSignals::kBopSourceUnusable)}};
}

std::shared_ptr<CBlackoutProtection> CLimitingComponents::CreateBlackoutProtection(
    const SBlackoutProtectionParts& parts) {
  LOG_INFO("Stand alone BlackoutProtection enabled");
  auto protection = std::make_shared<CBlackoutProtection>(
      mSurroundings.scheduler, parts.source, mSurroundings.config, kBlackoutProtectionPeriod, parts.signals,
      CBlackoutProtection::SCallbacks{
          .presentCurrent = [limiter = mSurroundings.limiter] { return limiter->GetSetpoint().current; },
          .limitChanged = [this](const SLimit& limit) { SetLimit(limit); }});
  mFollowers.push_back(protection);
  mHeld.push_back(protection);
  protection->Init();  // when it fails, it says why, and what it does then
  return protection;
}

bool CLimitingComponents::JoinGroup(const std::optional<SBlackoutProtectionParts>& parts) {
  std::shared_ptr<CBlackoutProtectionDGLB> blackoutProtection;
  if (parts) {
    blackoutProtection = std::make_shared<CBlackoutProtectionDGLB>(mSurroundings.scheduler, parts->source,
                                                                   mSurroundings.config,
                                                                   kBlackoutProtectionPeriod, parts->signals);
  }
  auto loadBalancing = CreateLoadBalancing(blackoutProtection);
  if (!loadBalancing->HasRole()) return false;  // it said why
  if (blackoutProtection) {
    LOG_INFO("BlackoutProtection for DynamicGroupLoadBalancing enabled");
    blackoutProtection->Init();
    mInOrder.push_back(std::move(blackoutProtection));
  }
  mHeld.push_back(loadBalancing);
  mInOrder.push_back(loadBalancing);
  mLoadBalancing = std::move(loadBalancing);
  return true;
}

SGroupAccess CLimitingComponents::GroupAccess() const {
  CCurrentControlConfig& config = *mSurroundings.config;
  const bool isLineTaken =
      (config.GetBopEnable() && CMeasurementSourceFactory::UsesSerialLine(config.GetBopSource())) ||
      (config.GetSolarChargingAllowed() &&
       CMeasurementSourceFactory::UsesSerialLine(config.GetSolarChargingSource()));
  SGroupAccess access = mSurroundings.group;
  if (isLineTaken && mSurroundings.loadBalancingConfig->GetInterface() == ELbInterface::Rs485) {
    LOG_ERROR(
        "A meter has the serial line {}, so that it cannot be the group's: set GroupLoadBalancingInterface, "
        "or the meter's source, to another one in settings.json",
        mSurroundings.groupLine.path);
    access.createRs485 = NoRs485;
  }
  return access;
}

std::shared_ptr<CLoadBalancing> CLimitingComponents::CreateLoadBalancing(
    std::shared_ptr<CBlackoutProtectionDGLB> blackoutProtection) const {
  const auto& signal = mSurroundings.signal;
  auto loadBalancing = std::make_shared<CLoadBalancing>(
      std::make_shared<CLbPhaseHandler>(mSurroundings.scheduler, mSurroundings.meter),
      mSurroundings.loadBalancingConfig, mSurroundings.meter, std::move(blackoutProtection),
      nullptr,  // this station has no power-limit input
      CLoadBalancing::SSurroundings{
          .scheduler = mSurroundings.scheduler,
          .access = GroupAccess(),
          .line = mSurroundings.groupLine,
          .signals = {.role = signal(DiagnosticsSignals::kLoadBalancingRole),
                      .undiscovered = signal(DiagnosticsSignals::kLoadBalancingUndiscovered)},
          .setLimit = [limiter = mSurroundings.limiter](float ampere) {
            limiter->SetLimitWithDefaultPhases(ipc::ECurrentControlLoadBal, ampere);
          }});
  loadBalancing->Init();
  return loadBalancing;
}

std::shared_ptr<CUserCableLimit> CLimitingComponents::CreateCableLimit() {
  auto cable = std::make_shared<CUserCableLimit>(mSurroundings.adac);
  cable->OnLimitChanged([this] { mWorker.NonBlockingCall([this] { TakeCableLimit(); }); });
  mHeld.push_back(cable);
  return cable;
}

std::shared_ptr<CPhaseImbalanceMonitor> CLimitingComponents::CreatePhaseImbalanceMonitor() {
  auto monitor = std::make_shared<CPhaseImbalanceMonitor>(
      mSurroundings.scheduler, mSurroundings.config, CPhaseImbalanceMonitor::kPeriod,
      mSurroundings.signal(DiagnosticsSignals::kPhaseImbalance),
      CPhaseImbalanceMonitor::SCallbacks{
          .meter = mSurroundings.meter,
          .stopCharging = [chargeControl = mSurroundings.chargeControl] { chargeControl->StopCharging(); },
          .limitChanged = [this](const SLimit& limit) { SetLimit(limit); },
          .limitRemoved = [this] { RemoveLimit(ipc::ECurrentControlVDEPhaseImbalance); }});
  mFollowers.push_back(monitor);
  mHeld.push_back(monitor);
  return monitor;
}

std::shared_ptr<COvercurrentProtection> CLimitingComponents::CreateOvercurrentProtection() {
  auto protection = std::make_shared<COvercurrentProtection>(
      mSurroundings.scheduler, mSurroundings.config, COvercurrentProtection::kThresholds, mCable,
      COvercurrentProtection::SSignals{
          .hardwareLimitExceeded = mSurroundings.signal(DiagnosticsSignals::kOvercurrentHardwareLimit),
          .installationLimitExceeded =
              mSurroundings.signal(DiagnosticsSignals::kOvercurrentInstallationLimit),
          .cableRatingExceeded = mSurroundings.signal(DiagnosticsSignals::kOvercurrentCableRating)},
      COvercurrentProtection::SCallbacks{
          .meter = mSurroundings.meter,
          .stopCharging = [chargeControl = mSurroundings.chargeControl] { chargeControl->StopCharging(); },
          .limitChanged =
              [this](const SLimit&) { mWorker.NonBlockingCall([this] { TakeOvercurrentLimit(); }); }});
  mFollowers.push_back(protection);
  return protection;
}

std::shared_ptr<CSolarCharging> CLimitingComponents::CreateSolarCharging() {
  const auto& config = mSurroundings.config;
  const auto& signal = mSurroundings.signal;
  const std::string type = config->GetSolarChargingSource();
  auto source =
      type.empty() ? nullptr : mSurroundings.sources.Create(type, config->GetSolarChargingSourceParameters());
  auto solarCharging = std::make_shared<CSolarCharging>(
      mSurroundings.scheduler, std::move(source), config,
      CSolarCharging::SSignals{.householdPower = signal(DiagnosticsSignals::kSolarHouseholdPower),
                               .sourceUnusable = signal(DiagnosticsSignals::kSolarSourceUnusable),
                               .notSupported = signal(DiagnosticsSignals::kSolarNotSupported)},
      CSolarCharging::SCallbacks{.meter = mSurroundings.meter,
                                 .limitChanged = [this](const SLimit& limit) { SetLimitWithPhases(limit); },
                                 .limitRemoved = [this] { RemoveLimit(ipc::ECurrentControlSolarCharging); },
                                 .hasLimit =
                                     [limiter = mSurroundings.limiter] {
                                       return limiter->HasLimit(ipc::ECurrentControlSolarCharging);
                                     }});
  solarCharging->Init();
  return solarCharging;
}

void CLimitingComponents::SetLimit(const SLimit& limit) {
  mSurroundings.limiter->SetLimitWithDefaultPhases(limit.source, ToAmpere(limit.milliAmpere));
}

void CLimitingComponents::SetLimitWithPhases(const SLimit& limit) {
  mSurroundings.limiter->SetLimit(limit.source, static_cast<std::uint8_t>(limit.phases),
                                  ToAmpere(limit.milliAmpere));
}

void CLimitingComponents::RemoveLimit(ipc::ECurrentControlSource source) {
  if (mSurroundings.limiter->HasLimit(source)) mSurroundings.limiter->DeleteLimit(source);
}

void CLimitingComponents::TakeCableLimit() {
  // First, so that the setpoint that follows has the last word: a vehicle is given time to go down to it.
  mOvercurrentProtection->OnCableChanged();
  // Without a cable, too: nobody can draw then, and whoever plugs the next one waits until its rating is
  // known.
  SetLimit(mCable->GetLimit());
}

void CLimitingComponents::TakeOvercurrentLimit() {
  // At all other times its limit repeats the setpoint, which must not be held down by that for ever.
  if (mOvercurrentProtection->HasStopped()) {
    SetLimit(mOvercurrentProtection->GetLimit());
  } else {
    RemoveLimit(ipc::ECurrentControlOvercurrentProtection);
  }
}
