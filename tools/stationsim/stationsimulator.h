#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>

#include "ipc/currentcontrol.service.h"

#include "platform/rpc/communicationhost.h"
#include "platform/utility/posixfiles.h"
#include "platform/worker/worker.h"
#include "simulation/chiptree.h"
#include "simulation/scenario.h"
#include "simulation/scenarioplayer.h"
#include "simulation/station.h"
#include "simulation/supervisor.h"
#include "tools/display/liveview.h"
#include "tools/stationsim/offeredmeters.h"

/// A station that runs current control, from bringing it up to letting it end.
class CStationSimulator {
 public:
  /// How long the end waits for current control to be gone.
  static constexpr Milliseconds kFarewell{3000};

  struct SSettings {
    std::filesystem::path root{};  ///< shows the meters below it; empty: nowhere
    SMeterChoice meters{};
    std::uint32_t fuseMilliAmpere = CHouse::kUsualFuseMilliAmpere;
    std::optional<SScenario> scenario;
    std::optional<Milliseconds> runFor;
    bool table = false;
    bool isTerminal = false;
  };

  CStationSimulator(SSettings settings, IScheduler& scheduler, Rpc::ICommunicationHost& host,
                    std::ostream& out);

  /// Returns some time after `end` is set, by the caller or because time is over. Throws Rpc::CStartError.
  void Run(IEvent& end);

 private:
  void Start();
  void TellArrival(const CSimulatedBasicCharge::SArrival& arrival);
  void ShowTable();
  void LetCurrentControlEnd();

  const SSettings mSettings;
  IScheduler& mScheduler;
  Rpc::ICommunicationHost& mHost;
  std::ostream& mOut;  // bound to the worker
  CLiveView mTable;
  CStation mStation;
  std::optional<CChipTree> mChipTree;
  std::optional<COfferedMeters> mMeters;
  CSupervisor mSupervisor;
  CPosixFiles mFiles;
  CScenarioPlayer mPlayer;
  const std::shared_ptr<Rpc::CClient> mPeer;
  ipc::CCurrentControlClient mCurrentControl;  // for the table
  TimePoint mBegin;
  CWorker mWorker;
};
