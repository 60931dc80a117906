#pragma once

#include <memory>
#include <string>

#include <json/value.h>

#include "platform/rpc/appcommunicationhost.h"
#include "platform/rpc/inprocessbackend.h"
#include "platform/worker/virtualscheduler.h"
#include "simulation/memoryfiles.h"
#include "simulation/modbusunit.h"
#include "simulation/scenario.h"
#include "simulation/scenarioplayer.h"
#include "simulation/simulatedhomewizard.h"
#include "simulation/simulatedmodbus.h"
#include "simulation/station.h"
#include "simulation/supervisor.h"
#include "src/currentcontrol/currentcontrol.h"

/// What a station has in common with others: time, and the ways from one to another.
struct SVirtualWorld {
  std::shared_ptr<CVirtualScheduler> scheduler = std::make_shared<CVirtualScheduler>();
  SGroupAccess group = {};
};

/// A whole charging station in virtual time: the application root that ships, with peers, files and a vehicle
/// that are modelled. Hours pass in milliseconds, and a run repeats exactly. One thread.
class CVirtualStation {
 public:
  /// The contents of the files below the root; empty: there is no such file.
  struct SFiles {
    std::string hwinfo;
    std::string settings;
    std::string secrets;
  };

  /// Alone in the world, or in one that it shares with others: time passes for all of them at once.
  explicit CVirtualStation(const SFiles& files, SVirtualWorld world = {});
  ~CVirtualStation();
  CVirtualStation(const CVirtualStation&) = delete;
  CVirtualStation& operator=(const CVirtualStation&) = delete;

  /// Starts peers, service and supervisor. Until then everything can be prepared.
  void Start();
  /// The scenario's time begins now.
  void Play(const SScenario& scenario);
  /// Changes keys of settings.json as another process would; those that are null go.
  void ChangeSettings(const Json::Value& values);
  void RunFor(Milliseconds span);
  /// Lets the supervisor end the service and stops everything.
  void Terminate();

  /// Starts the service once more beside the running one, as by mistake, and lets it go again.
  void StartSecondInstance();

  /// Since `Start`.
  Milliseconds Elapsed() const;

  CStation& Peers() { return mStation; }
  CHouse& House() { return mStation.House(); }
  CMeteringChip& Chip() { return mStation.Chip(); }
  CHouseMeter& Meter() { return mStation.Meter(); }
  CMemoryFiles& Files() { return mFiles; }
  /// What a client of the station's services would use.
  Rpc::ICommunicationHost& Clients() { return mPeerHost; }
  /// Lets a peer, by the name of its service, fail from now on.
  void SetFault(const std::string& service, Rpc::CInProcessNetwork::EFault fault);

  static std::string SettingsPath();
  /// The model that the house's meter is for those who read it over Modbus, and its address on the network.
  static constexpr auto kModbusModel = "siemens_pac2200";
  static constexpr auto kMeterAddress = "192.168.1.20";

 private:
  SMeterAccess Meters();

  const std::shared_ptr<CVirtualScheduler> mSharedScheduler;
  CVirtualScheduler& mScheduler = *mSharedScheduler;
  CMemoryFiles mFiles;
  const std::shared_ptr<Rpc::CInProcessNetwork> mNetwork;
  Rpc::CServiceAddresses mAddresses;

  Rpc::AppCommunicationHost<Rpc::InProcessBackend> mPeerHost;
  CStation mStation;
  // The house's meter, wherever the service looks for it.
  CModbusUnit mModbusUnit;
  const std::shared_ptr<CSimulatedModbus> mModbus = std::make_shared<CSimulatedModbus>(mModbusUnit);
  const std::shared_ptr<CSimulatedHomeWizard> mHomeWizard;
  CSupervisor mSupervisor;
  CScenarioPlayer mPlayer;

  Rpc::AppCommunicationHost<Rpc::InProcessBackend> mServiceHost;
  std::unique_ptr<CCurrentcontrol> mService;
  TimePoint mStarted;
};
