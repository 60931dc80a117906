#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "platform/utility/backoff.h"
#include "platform/worker/worker.h"
#include "src/communication/icommunicationlistener.h"
#include "src/components/loadbalancing/ilbpacketparser.h"
#include "src/components/recentlimits.h"
#include "src/components/stationmeterwatch.h"
#include "src/rpc/clients/stationmeter.h"

class CLoadBalancingConfig;
class ILbPhaseHandler;

/// What the roles in a group share: the own serial number, the way out to the group, and the way to the
/// current limiter. Everything that a role does runs on its worker.
///
/// Operations one at a time, but `GetLimit` from any thread. A derived class calls `Stop` in its destructor,
/// so that nobody calls it any more when its members go.
class CLbProtocolBase {
 public:
  using Endpoint = ICommunicationListener::IEndpoint;

  struct SSurroundings {
    IScheduler& scheduler;
    std::shared_ptr<ILbPhaseHandler> phaseHandler;
    std::shared_ptr<CLoadBalancingConfig> config;
    std::shared_ptr<ICommunicationListener> communication;
    std::unique_ptr<ILbPacketParser> parser;
    /// Takes the group's limit, in A, to the current limiter. On the worker.
    std::function<void(float ampere)> setLimit;
    StationMeter meter;
  };

  /// The pauses before communication that could not be set up is tried again.
  static constexpr CBackOff kPauses{Milliseconds{1000}, Milliseconds{30000}};
  /// Messages that wait for the worker; whoever floods the group with valid ones loses the rest.
  static constexpr std::uint32_t kMostWaiting = 64;

  virtual ~CLbProtocolBase();
  CLbProtocolBase(const CLbProtocolBase&) = delete;
  CLbProtocolBase& operator=(const CLbProtocolBase&) = delete;

  /// Sets up communication; what fails is tried again and again, with growing pauses. Once.
  void Start();
  virtual void Enable() = 0;
  virtual void Disable() = 0;

  /// What was applied last, in mA; 0 before anything was.
  std::uint32_t GetLimit() const { return mLimit; }

 protected:
  explicit CLbProtocolBase(SSurroundings surroundings);
  void Stop();

  /// A valid message has come. On the worker.
  virtual void OnMessageReceived(const SLbMessage& message, const std::shared_ptr<Endpoint>& endpoint) = 0;
  /// The role's state as log lines have it. Any thread.
  virtual std::uint32_t StateNumber() const = 0;

  // On the worker.
  void SendMessage(const SLbMessage& message, Endpoint& endpoint);
  /// Sets the station's limit in the group, in mA. The phase handler is told what the leader asked for.
  void ApplyLimit(std::uint32_t milliAmpere, std::uint32_t askedMilliAmpere, bool isPhaseDiscovery);
  void ApplyLimit(std::uint32_t milliAmpere) { ApplyLimit(milliAmpere, milliAmpere, false); }

  CWorker& Worker() { return mWorker; }
  const CLoadBalancingConfig& Config() const { return *mSurroundings.config; }
  ILbPhaseHandler& PhaseHandler() const { return *mSurroundings.phaseHandler; }
  /// What the vehicle draws; none while the meter is silent, which is told once.
  std::optional<SStationMeterData> ReadMeter() { return mMeter.Read(); }
  /// What it may be drawing, in mA: a lowered limit takes it some time to follow.
  std::uint32_t MostDrawn() { return mRecentLimits.Largest(mSurroundings.scheduler.Now()); }
  /// Nothing: the station has none, or a wrong one.
  const std::optional<LbSerialNumber>& OwnSerialNumber() const { return mOwnSerialNumber; }

 private:
  void ReadOwnSerialNumber();
  void SetUpCommunication();
  /// On the medium's thread.
  void TakeMessage(const SLbMessage& message, const std::shared_ptr<Endpoint>& endpoint);
  void TellOfStrangers(const Endpoint& endpoint);

  const SSurroundings mSurroundings;
  std::optional<LbSerialNumber> mOwnSerialNumber;  ///< since the start
  std::atomic<std::uint32_t> mLimit{0};
  std::atomic<std::uint32_t> mWaiting{0};
  std::atomic<bool> mIsFloodTold{false};  ///< since all messages could be taken
  // On the medium's thread.
  bool mHasUnderstood = false;
  bool mIsStrangerTold = false;
  // On the worker.
  CBackOff mBackOff = kPauses;
  bool mIsFailureTold = false;
  CCallHandle mNextAttempt;
  CStationMeterWatch mMeter;
  CRecentLimits mRecentLimits{0};
  CWorker mWorker;
};
