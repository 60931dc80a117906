#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/utility/backoff.h"
#include "platform/worker/worker.h"
#include "src/communication/icommunicationlistener.h"
#include "src/components/loadbalancing/ilbpacketparser.h"
#include "src/components/loadbalancing/lbgroupview.h"
#include "src/components/loadbalancing/lbphaserotation.h"
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
  /// Messages that wait for the worker; whoever floods the group with valid ones loses the rest. More than
  /// a whole group answers at once.
  static constexpr std::uint32_t kMostWaiting = 256;

  virtual ~CLbProtocolBase();
  CLbProtocolBase(const CLbProtocolBase&) = delete;
  CLbProtocolBase& operator=(const CLbProtocolBase&) = delete;

  /// Sets up communication; what fails is tried again and again, with growing pauses. Once.
  void Start();
  virtual void Enable() = 0;
  virtual void Disable() = 0;

  /// What was applied last, in mA; 0 before anything was.
  std::uint32_t GetLimit() const { return mLimit; }
  /// The group as this station sees it now. Any thread; waits for the worker.
  SLbGroupView Describe();

 protected:
  explicit CLbProtocolBase(SSurroundings surroundings);
  void Stop();

  /// A valid message has come; `sends` says how many this station had sent by then. On the worker.
  virtual void OnMessageReceived(const SLbMessage& message, const std::shared_ptr<Endpoint>& endpoint,
                                 std::uint32_t sends) = 0;
  /// The role's state as log lines have it. Any thread.
  virtual std::uint32_t StateNumber() const = 0;
  /// Bytes have come, which are no message yet, and may never be one. On the medium's thread.
  virtual void OnBytesReceived(const Endpoint& /*endpoint*/) {}
  /// Messages can be sent from now on. On the worker.
  virtual void OnCommunicationUp() {}
  /// On the worker.
  virtual SLbGroupView DescribeRole() = 0;

  // On the worker.
  void SendMessage(const SLbMessage& message, Endpoint& endpoint);
  /// To everybody in the group.
  void BroadcastMessage(const SLbMessage& message);
  Milliseconds ResponseTime(bool extended) const {
    return mSurroundings.communication->GetResponseTime(extended);
  }
  /// Stations that may answer to one leader.
  std::uint32_t MostStations() const { return mSurroundings.communication->GetCapacity(); }
  bool IsCommunicationUp() const { return mIsUp; }
  /// Messages that were sent so far. What came when there had been fewer is no answer to the newest one.
  std::uint32_t Sends() const { return mSends; }
  /// Sets the station's limit in the group, in mA. The phase handler is told what the leader asked for.
  void ApplyLimit(std::uint32_t milliAmpere, std::uint32_t askedMilliAmpere, bool isPhaseDiscovery);
  void ApplyLimit(std::uint32_t milliAmpere) { ApplyLimit(milliAmpere, milliAmpere, false); }

  CWorker& Worker() { return mWorker; }
  TimePoint Now() const { return mSurroundings.scheduler.Now(); }
  const CLoadBalancingConfig& Config() const { return *mSurroundings.config; }
  ILbPhaseHandler& PhaseHandler() const { return *mSurroundings.phaseHandler; }
  /// What the vehicle draws on the supply's phases. While the meter is silent, which is told once, it counts
  /// with all that it may be drawing.
  SLbLoad ReadLoad();
  /// In mA, truncated; what no message can hold is clamped.
  std::uint32_t ReadFallback() const;
  /// The same of what the group's supply has.
  std::uint32_t ReadSupply() const;
  /// A wrong one is told once.
  const CLbPhaseRotation& PhaseRotation();
  /// Nothing: the station has none, or a wrong one.
  const std::optional<LbSerialNumber>& OwnSerialNumber() const { return mOwnSerialNumber; }

 private:
  void ReadOwnSerialNumber();
  void SetUpCommunication();
  void Send(const SLbMessage& message, Endpoint* endpoint);
  /// On the medium's thread.
  void TakeBytes(const std::shared_ptr<Endpoint>& endpoint);
  void TakeMessage(const SLbMessage& message, const std::shared_ptr<Endpoint>& endpoint);
  void TellOfStrangers(const Endpoint& endpoint);

  const SSurroundings mSurroundings;
  std::optional<LbSerialNumber> mOwnSerialNumber;  ///< since the start
  std::atomic<std::uint32_t> mLimit{0};
  std::atomic<std::uint32_t> mWaiting{0};
  std::atomic<std::uint32_t> mSends{0};
  std::atomic<bool> mIsFloodTold{false};  ///< since all messages could be taken
  // On the medium's thread.
  std::uint32_t mSendsBefore = 0;  // the bytes came that are being parsed
  bool mHasUnderstood = false;
  bool mIsStrangerTold = false;
  // On the worker.
  CBackOff mBackOff = kPauses;
  bool mIsFailureTold = false;
  bool mIsUp = false;
  CCallHandle mNextAttempt;
  std::string mPhaseRotationText;
  std::optional<CLbPhaseRotation> mPhaseRotation;  ///< none before it was needed
  CStationMeterWatch mMeter;
  CRecentLimits mRecentLimits{0};
  CWorker mWorker;
};
