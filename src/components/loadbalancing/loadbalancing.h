#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "src/components/limiter.h"
#include "src/components/loadbalancing/groupaccess.h"
#include "src/components/loadbalancing/ilbpacketparser.h"
#include "src/components/loadbalancing/lbgroupview.h"
#include "src/components/loadbalancing/lbprotocolbase.h"
#include "src/rpc/clients/stationmeter.h"

class CDiagnosticsSignal;
class CLoadBalancingConfig;
class IBlackoutProtection;
class ILbPhaseHandler;
class IPowerLimitInput;

/// The station's place in a group of stations that hang on one supply: builds what the settings ask for, a
/// medium, packets for it and a role.
///
/// Settings are read once, by `Init`. Operations one at a time; `GetLimit` and `Describe` from any thread
/// after `Init`.
class CLoadBalancing final : public ILimiter {
 public:
  /// Of the network; the same for all groups.
  static constexpr std::uint16_t kPort = 23068;
  /// How often a leader shares out anew and looks for new stations.
  static constexpr Milliseconds kLeaderPeriod{10000};

  struct SSignals {
    std::shared_ptr<CDiagnosticsSignal> role;
    std::shared_ptr<CDiagnosticsSignal> undiscovered;
  };
  struct SSurroundings {
    IScheduler& scheduler;
    SGroupAccess access;
    SRs485Line line;  ///< where the group may be
    SSignals signals;
    /// Takes the group's limit, in A, to the current limiter. On the protocol's worker.
    std::function<void(float ampere)> setLimit;
  };

  /// Blackout protection and power-limit input may be missing.
  CLoadBalancing(std::shared_ptr<ILbPhaseHandler> phaseHandler, std::shared_ptr<CLoadBalancingConfig> config,
                 StationMeter meter, std::shared_ptr<IBlackoutProtection> blackoutProtection,
                 std::shared_ptr<IPowerLimitInput> powerLimitInput, SSurroundings surroundings);
  ~CLoadBalancing() override;

  /// What cannot be built is told, and then there is no role, and never a limit of the group.
  void Init();
  bool HasRole() const { return mProtocol != nullptr; }

  void Enable() override;
  void Disable() override;
  /// Without a role 0 mA, the safe answer.
  SLimit GetLimit() override;
  /// The group as this station sees it; nothing: it is in none. Waits for the role's worker.
  std::optional<SLbGroupView> Describe() const;

  /// When a role was last taken up beside a blackout protection; nothing: it was not.
  std::optional<std::chrono::system_clock::time_point> GetStartTime() const { return mStartTime; }

 private:
  struct SMedium {
    std::shared_ptr<ICommunicationListener> communication;  ///< null: there is none
    std::unique_ptr<ILbPacketParser> parser;
    bool isLine = false;  ///< on which only one may speak at a time
  };

  SMedium CreateMedium() const;
  SMedium CreateNetworkMedium(const std::string& adapter) const;
  std::shared_ptr<CLbProtocolBase> CreateProtocol(SMedium medium) const;
  std::shared_ptr<CLbProtocolBase> CreateLeader(CLbProtocolBase::SSurroundings surroundings,
                                                bool isLine) const;

  const std::shared_ptr<ILbPhaseHandler> mPhaseHandler;
  const std::shared_ptr<CLoadBalancingConfig> mConfig;
  const StationMeter mMeter;
  const std::shared_ptr<IBlackoutProtection> mBlackoutProtection;
  const std::shared_ptr<IPowerLimitInput> mPowerLimitInput;
  const SSurroundings mSurroundings;
  std::shared_ptr<CLbProtocolBase> mProtocol;  ///< null: no role
  std::optional<std::chrono::system_clock::time_point> mStartTime;
};
