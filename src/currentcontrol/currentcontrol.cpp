#include "src/currentcontrol/currentcontrol.h"

#include <algorithm>
#include <utility>

#include "ipc/logconfig.service.h"

#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/log/log.h"
#include "src/components/blackoutprotection/blackoutprotection.h"
#include "src/components/blackoutprotection/blackoutprotectiondglb.h"
#include "src/components/meterfeatures.h"
#include "src/diagnosticssignals/diagnosticssignals.h"
#include "src/limitationsources/limits.h"
#include "src/rpc/clients/temperaturelinks.h"
#include "src/rpc/services/currentcontrolservice.h"
#include "src/rpc/services/processcontrolservice.h"

namespace {

namespace Files {
constexpr auto kSettings = "etc/settings.json";
constexpr auto kHwinfo = "etc/hwinfo.json";
constexpr auto kSecrets = "etc/secrets.json";
}  // namespace Files

/// As often as the house is measured.
constexpr Milliseconds kBlackoutProtectionPeriod = kSamplingPeriod;

ipc::MResult Posted() {
  return {};
}

}  // namespace

CCurrentcontrol::CCurrentcontrol(const std::string& root, SEnvironment environment)
    : mEnvironment(environment),
      mRoot(root),
      mSettings(KoConfig::Create(environment.scheduler, environment.files, mRoot / Files::kSettings)),
      mHwinfo(KoConfig::CreateReadOnly(environment.scheduler, environment.files, mRoot / Files::kHwinfo)),
      mSecrets(KoConfig::CreateReadOnly(environment.scheduler, environment.files, mRoot / Files::kSecrets,
                                        KoConfig::EContents::Secret)),
      mConfig(std::make_shared<CCurrentControlConfig>(mSettings, mHwinfo)),
      mDiagnostics(std::make_shared<CDiagnosticsCommClient>(environment.scheduler,
                                                            environment.host.CreateClient("Diagnostics"))),
      mChargeControl(std::make_shared<CChargeControlService>(
          environment.scheduler,
          environment.host.CreateClient("ChargeControlBasicCharge", CChargeControlService::kTimeout))),
      mMeter(std::make_shared<CMeterService>(environment.scheduler, environment.host.CreateClient("Meter"))),
      mAdac(environment.host.CreateClient("Adac")),
      mNetM(environment.host.CreateClient("NetM")),
      mSafetyMcuComm(environment.host.CreateClient("SafetyMcuComm")),
      mLimiter(std::make_shared<CCurrentLimiter>(
          environment.scheduler, mConfig, mChargeControl,
          CCurrentLimiter::SSignals{Signal(DiagnosticsSignals::kLimitingCurrentSource),
                                    Signal(DiagnosticsSignals::kLimitingPhasesSource),
                                    Signal(DiagnosticsSignals::kSourceChanged)})),
      mTemperatureReport(std::make_shared<CTemperatureReport>(Signal(DiagnosticsSignals::kTemperatures))),
      mLimitRequests(mLimiter),
      mSources(SourceDependencies()),
      mFinished(environment.scheduler.CreateEvent()),
      mActions(mConfig, mLimiter, mChargeControl, CreateComponents(),
               [this] {
                 ConnectPeers();
                 mSources.InitSources();
               }),
      mStateMachine(environment.scheduler, mActions, [this] { mFinished->Set(); }) {
  OfferServices();
}

CCurrentcontrol::~CCurrentcontrol() {
  Stop();
}

void CCurrentcontrol::Run() {
  Start();
  AwaitEnd();
}

void CCurrentcontrol::Start() {
  // A second instance by mistake must not tell charge control anything before it finds out.
  mEnvironment.host.CheckAddresses();
  mDiagnostics->Start();
  mChargeControl->Connect([this](ipc::EChargingState state) {
    for (const auto& follower : mChargingFollowers) follower->SetChargingState(state);
  });
  for (const auto& component : mHeld) SetLimit(component->GetLimit());
  mLimiter->SetInitialLimits();
  mStateMachine.Start();
  mEnvironment.host.Start();
}

void CCurrentcontrol::AwaitEnd() {
  mFinished->Wait();
  // Calls that were running when the end was reached have ended now, whatever they did.
  mEnvironment.host.Stop();
  mActions.EnsureSafe();
  Stop();
}

void CCurrentcontrol::RequestTermination() {
  mStateMachine.Post(EProcessEvent::ExtTerminateReq);
}

void CCurrentcontrol::Stop() {
  mEnvironment.host.Stop();
  mStateMachine.Stop();
  mSources.DeInitSources();
  mSubscriptions.clear();
  mMeter->Disable();
  mChargeControl->Disconnect();
  mDiagnostics->Stop();
}

void CCurrentcontrol::OfferServices() {
  auto service = std::make_shared<CCurrentControlService>();
  ConnectICurrentControl(*service);
  mEnvironment.host.RegisterService(
      "CurrentControlGenCtrl", ipc::CreateService(std::make_shared<CProcessControlService>(mStateMachine)));
  mEnvironment.host.RegisterService("CurrentControl", ipc::CreateService(std::move(service)));
  mEnvironment.host.RegisterService("CurrentControlLog", ipc::CreateService(Log::CreateLogConfigService()));
}

void CCurrentcontrol::ConnectICurrentControl(CCurrentControlService& service) {
  service.mSetCurrentLimit = [this](const auto& limit) { return mLimitRequests.SetCurrentLimit(limit); };
  service.mClearCurrentLimit = [this](const auto& limit) { return mLimitRequests.ClearCurrentLimit(limit); };
  service.mGetCurrentLimit = [this] { return mLimitRequests.GetCurrentLimit(); };
  service.mGetLimits = [this] { return mLimitRequests.GetLimits(); };
  service.mSetMeasurementSourceConnection = [this](const auto& connection) {
    mStateMachine.PostSetMeasurementSourceConnection(connection);
    return Posted();
  };
  service.mClearMeasurementSourceConnection = [this] {
    mStateMachine.Post(EProcessEvent::ExtClearMeasurementSourceConnection);
    return Posted();
  };
}

void CCurrentcontrol::ConnectPeers() {
  mSubscriptions.clear();
  ConnectIAdac();
  ConnectINetM();
  ConnectISafetymcucomm();
  mMeter->Enable();
}

void CCurrentcontrol::ConnectIAdac() {
  mSubscriptions.push_back(LinkTemperatures(
      mAdac, [this](auto source, float celsius) { mTemperatureReport->SetTemperature(source, celsius); }));
}

void CCurrentcontrol::ConnectINetM() {
  mSubscriptions.push_back(LinkTemperatures(
      mNetM, [this](auto source, float celsius) { mTemperatureReport->SetTemperature(source, celsius); }));
}

void CCurrentcontrol::ConnectISafetymcucomm() {
  mSubscriptions.push_back(LinkTemperatures(mSafetyMcuComm, [this](auto source, float celsius) {
    mTemperatureReport->SetTemperature(source, celsius);
  }));
}

CMeasurementSourceFactory::SDependencies CCurrentcontrol::SourceDependencies() {
  CMeasurementSourceFactory::SDependencies dependencies{
      .scheduler = mEnvironment.scheduler,
      .files = mEnvironment.files,
      .root = mRoot,
      .config = mConfig,
      .access = mEnvironment.meters,
      .stationMeter = mMeter->Reader(),
      .implausibleCt = {},
      .p1Version = Signal(DiagnosticsSignals::kP1Version),
      .storeHomeWizard = [config = mConfig](const std::string& formerAddress, const Json::Value& found) {
        StoreFoundHomeWizard(*config, formerAddress, found);
      }};
  std::ranges::transform(DiagnosticsSignals::kImplausibleCt, dependencies.implausibleCt.begin(),
                         [this](const CSignalDefinition& definition) { return Signal(definition); });
  return dependencies;
}

std::vector<std::shared_ptr<ILimiter>> CCurrentcontrol::CreateComponents() {
  std::vector<std::shared_ptr<ILimiter>> components;
  if (mConfig->GetBopEnable()) components.push_back(CreateBlackoutProtection());
  return components;
}

std::shared_ptr<CBlackoutProtectionBase> CCurrentcontrol::CreateBlackoutProtection() {
  IScheduler& scheduler = mEnvironment.scheduler;
  auto source = mSources.Create(mConfig->GetBopSource(), mConfig->GetBopSourceParameters());
  CBlackoutProtectionBase::SSignals signals{.current = Signal(DiagnosticsSignals::kBopCurrent),
                                            .constraint = Signal(DiagnosticsSignals::kBopConstraint),
                                            .meterFailure = Signal(DiagnosticsSignals::kBopMeterFailure),
                                            .usingFallback = Signal(DiagnosticsSignals::kBopUsingFallback),
                                            .invalidConfig = Signal(DiagnosticsSignals::kBopInvalidConfig),
                                            .sourceUnusable = Signal(DiagnosticsSignals::kBopSourceUnusable)};
  std::shared_ptr<CBlackoutProtectionBase> blackoutProtection;
  if (mConfig->GetGroupLoadBalancingEnable()) {
    LOG_INFO("BlackoutProtection for DynamicGroupLoadBalancing enabled");
    LOG_WARNING(
        "Nothing protects the main fuse: this version has no group leader to share out what it has left");
    blackoutProtection = std::make_shared<CBlackoutProtectionDGLB>(
        scheduler, std::move(source), mConfig, kBlackoutProtectionPeriod, std::move(signals));
  } else {
    LOG_INFO("Stand alone BlackoutProtection enabled");
    auto standalone = std::make_shared<CBlackoutProtection>(
        scheduler, std::move(source), mConfig, kBlackoutProtectionPeriod, std::move(signals),
        CBlackoutProtection::SCallbacks{
            .presentCurrent = [limiter = mLimiter] { return limiter->GetSetpoint().current; },
            .limitChanged = [this](const SLimit& limit) { SetLimit(limit); }});
    mChargingFollowers.push_back(standalone);
    mHeld.push_back(standalone);
    blackoutProtection = std::move(standalone);
  }
  blackoutProtection->Init();  // when it fails, it says why, and what it does then
  return blackoutProtection;
}

void CCurrentcontrol::SetLimit(const SLimit& limit) {
  mLimiter->SetLimitWithDefaultPhases(limit.source,
                                      static_cast<float>(limit.milliAmpere) / kMilliAmperePerAmpere);
}

std::shared_ptr<CDiagnosticsSignal> CCurrentcontrol::Signal(const CSignalDefinition& definition) const {
  return std::make_shared<CDiagnosticsSignal>(definition, mDiagnostics);
}
