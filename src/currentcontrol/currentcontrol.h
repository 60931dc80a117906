#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "ipc/currentcontrol.service.h"
#include "ipc/genericcontrol.service.h"

#include "platform/diagnostics/diagnosticscommclient.h"
#include "platform/koconfig/koconfig.h"
#include "platform/rpc/communicationhost.h"
#include "platform/utility/files.h"
#include "platform/worker/scheduler.h"
#include "src/components/currentcontrolconfig.h"
#include "src/components/currentlimiter.h"
#include "src/components/measurementsources/measurementsourcefactory.h"
#include "src/components/measurementsources/meteraccess.h"
#include "src/components/processactionhandler.h"
#include "src/components/temperaturereport.h"
#include "src/currentcontrol/limitingcomponents.h"
#include "src/rpc/clients/adacservice.h"
#include "src/rpc/clients/chargecontrolservice.h"
#include "src/rpc/clients/meterservice.h"
#include "src/rpc/services/currentlimitrequests.h"
#include "statemachines/process/processstatemachine.h"

class CCurrentControlService;

/// The application root: reads the configuration, creates what it enables and wires it. It composes and
/// decides nothing. It cannot tell real time, files and peers from modelled ones.
class CCurrentcontrol {
 public:
  /// Everything outside of the program, which outlives it.
  struct SEnvironment {
    IScheduler& scheduler;
    IFiles& files;
    Rpc::ICommunicationHost& host;
    SMeterAccess meters = {};
    SGroupAccess group = {};
  };

  /// `root` is the folder below which every configuration and data path lies.
  CCurrentcontrol(const std::string& root, SEnvironment environment);
  ~CCurrentcontrol();
  CCurrentcontrol(const CCurrentcontrol&) = delete;
  CCurrentcontrol& operator=(const CCurrentcontrol&) = delete;

  /// Starts, serves until the process state machine has finished, and stops. Once, on the main thread.
  void Run();

  /// The two halves of `Run`, for a caller who has something to do in between. Starting throws
  /// Rpc::CStartError when the services cannot be offered; awaiting the end stops everything when it has
  /// come.
  void Start();
  void AwaitEnd();

  /// Asks the process state machine to terminate, as SIGINT does. Any thread, while `Run` runs or before.
  void RequestTermination();

 private:
  void ConnectICurrentControl(CCurrentControlService& service);
  /// The peers that are followed from initialisation on.
  void ConnectPeers();
  void ConnectIAdac();
  void ConnectINetM();
  void ConnectISafetymcucomm();

  CMeasurementSourceFactory::SDependencies SourceDependencies();
  std::shared_ptr<CDiagnosticsSignal> Signal(const CSignalDefinition& definition) const;

  void OfferServices();
  void Stop();

  const SEnvironment mEnvironment;
  const std::filesystem::path mRoot;

  std::shared_ptr<KoConfig::IConfig> mSettings;
  std::shared_ptr<KoConfig::IReadOnlyConfig> mHwinfo;
  std::shared_ptr<KoConfig::IReadOnlyConfig> mSecrets;
  std::shared_ptr<CCurrentControlConfig> mConfig;

  std::shared_ptr<CDiagnosticsCommClient> mDiagnostics;
  std::shared_ptr<CChargeControlService> mChargeControl;
  std::shared_ptr<CMeterService> mMeter;
  std::shared_ptr<CAdacService> mAdac;
  ipc::CNetMClient mNetM;
  ipc::CSafetyMcuCommClient mSafetyMcuComm;

  std::shared_ptr<CCurrentLimiter> mLimiter;
  std::shared_ptr<CTemperatureReport> mTemperatureReport;
  CCurrentLimitRequests mLimitRequests;

  CMeasurementSourceFactory mSources;
  CLimitingComponents mComponents;

  std::unique_ptr<IEvent> mFinished;
  CProcessActionHandler mActions;
  CProcessStateMachine mStateMachine;

  std::vector<Rpc::Subscription> mSubscriptions;
};
