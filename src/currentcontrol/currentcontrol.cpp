#include "src/currentcontrol/currentcontrol.h"

#include <algorithm>
#include <utility>

#include "ipc/logconfig.service.h"

#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/log/log.h"
#include "src/components/loadbalancing/loadbalancingconfig.h"
#include "src/components/meterfeatures.h"
#include "src/diagnosticssignals/diagnosticssignals.h"
#include "src/rpc/clients/temperaturelinks.h"
#include "src/rpc/services/currentcontrolservice.h"
#include "src/rpc/services/groupanswer.h"
#include "src/rpc/services/processcontrolservice.h"

namespace {

namespace Files {
constexpr auto kSettings = "etc/settings.json";
constexpr auto kHwinfo = "etc/hwinfo.json";
constexpr auto kSecrets = "etc/secrets.json";
}  // namespace Files

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
      mAdac(std::make_shared<CAdacService>(environment.host.CreateClient("Adac"))),
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
      mComponents(
          {.scheduler = environment.scheduler,
           .config = mConfig,
           .limiter = mLimiter,
           .chargeControl = mChargeControl,
           .adac = mAdac,
           .meter = mMeter->Reader(),
           .sources = mSources,
           .loadBalancingConfig = std::make_shared<CLoadBalancingConfig>(mSettings, mHwinfo, mSecrets),
           .group = environment.group,
           .groupLine = {.path = (mRoot / CMeasurementSourceFactory::kSerialLine).string(),
                         .autoDirection = mConfig->HasRs485AutoDirection()},
           .signal = [this](const CSignalDefinition& definition) { return Signal(definition); }}),
      mFinished(environment.scheduler.CreateEvent()),
      mActions(mConfig, mLimiter, mChargeControl, mComponents.InOrder(),
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
  mChargeControl->Connect([this](ipc::EChargingState state) { mComponents.SetChargingState(state); });
  mComponents.Hold();
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
  mAdac->Disconnect();
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
  service.mGetGroup = [this] { return ToAnswer(mComponents.DescribeGroup()); };
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
  mAdac->Connect();
  mSubscriptions.push_back(LinkTemperatures(mAdac->Peer(), [this](auto source, float celsius) {
    mTemperatureReport->SetTemperature(source, celsius);
  }));
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

std::shared_ptr<CDiagnosticsSignal> CCurrentcontrol::Signal(const CSignalDefinition& definition) const {
  return std::make_shared<CDiagnosticsSignal>(definition, mDiagnostics);
}
