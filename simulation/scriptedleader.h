#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/worker/worker.h"
#include "simulation/leaderlane.h"
#include "simulation/leaderscript.h"
#include "src/communication/icommunicationlistener.h"
#include "src/components/loadbalancing/ilbpacketparser.h"

/// A simple leader of a group, that shares nothing out: it finds the stations and tells them the limits that
/// its script says. `Start`, `Stop` and the end one at a time, the rest from any thread.
class CScriptedLeader {
 public:
  /// On a line stations cannot say who they are: only those that the leader was told of are led.
  enum class EMedium { Network, Line };

  static constexpr Milliseconds kDiscoveryPeriod{3000};
  static constexpr Milliseconds kLimitPeriod{2000};
  /// A station that was led and does not answer for so long is silent.
  static constexpr Milliseconds kLongestSilence{5000};

  struct SSettings {
    EMedium medium = EMedium::Network;
    std::vector<LbSerialNumber> stations{};  ///< to be led besides those that are found
    std::uint32_t milliAmpere = 16000;       ///< for everybody, until the script says otherwise
    SLeaderScript script{};
  };

  /// LeftAlone: the leader is silent itself, as it was ordered. Missing: was never heard.
  enum class EState { Missing, Found, Led, Silent, LeftAlone };
  struct SRow {
    LbSerialNumber serialNumber{};
    std::string address{};  ///< empty: not heard yet
    EState state = EState::Missing;
    std::optional<Milliseconds> heardAgo{};
    std::optional<std::uint32_t> toldMilliAmpere{};
    bool isPhaseDiscovery = false;  ///< was told so
    /// What the vehicle draws on R, S, T in mA, and the report, in the newest answer.
    std::optional<std::array<std::uint32_t, 3>> drawnMilliAmpere{};
    std::uint8_t report = 0;
    std::optional<std::uint32_t> fallbackMilliAmpere{};
  };

  CScriptedLeader(IScheduler& scheduler, std::shared_ptr<ICommunicationListener> communication,
                  std::unique_ptr<ILbPacketParser> parser, SSettings settings);
  ~CScriptedLeader();
  CScriptedLeader(const CScriptedLeader&) = delete;
  CScriptedLeader& operator=(const CScriptedLeader&) = delete;

  /// False: there is no communication. Once.
  bool Start();
  void Stop();

  /// Beside the script.
  void Order(const SLeaderOrder& order);
  /// One for each station, in order of serial numbers. Not from a handler of the medium.
  std::vector<SRow> Rows();

 private:
  using Endpoint = ICommunicationListener::IEndpoint;
  struct SWill {
    std::uint32_t milliAmpere;
    bool isPhaseDiscovery = false;
    bool isSilent = false;
  };
  struct SStation {
    std::shared_ptr<Endpoint> endpoint{};  // none on a line, and until it was heard
    bool isInfoKnown = false;
    std::optional<TimePoint> answered{};  // to a limit
    std::optional<TimePoint> heard{};
    SRow row{};
  };

  // On the worker.
  void Begin();
  void Obey(const SLeaderOrder& order);
  void Broadcast(const SLbMessage& message);
  void Discover();
  void TellLimits();
  void Ask(const LbSerialNumber& serialNumber, const SStation& station);
  void Send(const CLeaderLane::SRequest& request);
  SLbMessage Compose(const CLeaderLane::SRequest& request);
  void OnMessage(const SLbMessage& message, const std::shared_ptr<Endpoint>& endpoint);
  void TakeContent(const SLbMessage& message, SStation& station);
  SRow Describe(const LbSerialNumber& serialNumber, const SStation& station) const;
  const SWill& WillFor(const LbSerialNumber& serialNumber) const;
  CLeaderLane& LaneOf(const LbSerialNumber& serialNumber);
  bool IsLine() const { return mSettings.medium == EMedium::Line; }

  const IClock& mClock;
  const std::shared_ptr<ICommunicationListener> mCommunication;
  const std::unique_ptr<ILbPacketParser> mParser;
  const SSettings mSettings;

  // Used on the worker, or while it stands still.
  SWill mWillForAll;
  std::map<LbSerialNumber, SWill> mWillForOne;
  std::map<LbSerialNumber, SStation> mStations;
  std::map<LbSerialNumber, CLeaderLane> mLanes;  // a line has one alone
  std::vector<CCallHandle> mPlanned;

  CWorker mWorker;  // stops before the rest goes
};
