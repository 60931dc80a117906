#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/worker/worker.h"
#include "src/components/blackoutprotection/blackoutprotectionbase.h"
#include "src/components/limiter.h"
#include "src/components/loadbalancing/groupaccess.h"
#include "src/components/loadbalancing/lbgroupview.h"
#include "src/components/toleratedcurrent.h"
#include "src/rpc/clients/stationmeter.h"

class CBlackoutProtection;
class CBlackoutProtectionDGLB;
class CChargeControlService;
class CCurrentControlConfig;
class CCurrentLimiter;
class CDiagnosticsSignal;
class CLoadBalancing;
class CLoadBalancingConfig;
class CMeasurementSourceFactory;
class COvercurrentProtection;
class CPhaseImbalanceMonitor;
class CSolarCharging;
class CUserCableLimit;
class IAdacService;
struct CSignalDefinition;

/// Creates the limiting components that the configuration enables, and wires them: to the current limiter, to
/// the peers, and to one another, for they do not know each other.
///
/// Created and destroyed on the main thread; `SetChargingState` on a thread of the RPC framework.
class CLimitingComponents {
 public:
  struct SSurroundings {
    IScheduler& scheduler;
    std::shared_ptr<CCurrentControlConfig> config;
    std::shared_ptr<CCurrentLimiter> limiter;
    std::shared_ptr<CChargeControlService> chargeControl;
    std::shared_ptr<IAdacService> adac;
    StationMeter meter;
    CMeasurementSourceFactory& sources;
    std::shared_ptr<CLoadBalancingConfig> loadBalancingConfig;
    SGroupAccess group;
    SRs485Line groupLine;  ///< where a group may be
    std::function<std::shared_ptr<CDiagnosticsSignal>(const CSignalDefinition&)> signal;
  };

  /// Before charge control is connected and the sources are initialised.
  explicit CLimitingComponents(SSurroundings surroundings);
  ~CLimitingComponents();
  CLimitingComponents(const CLimitingComponents&) = delete;
  CLimitingComponents& operator=(const CLimitingComponents&) = delete;

  /// In the order in which they are to be enabled.
  const std::vector<std::shared_ptr<ILimiter>>& InOrder() const { return mInOrder; }

  /// States what holds before anything is enabled, or known of cable and meters: 0 A by the cable, by phase
  /// imbalance, by blackout protection and by the group, as far as they are there. Solar charging and
  /// overcurrent protection hold nothing at first.
  void Hold();
  /// Tells those who want to know whether there is a vehicle, and whether it is charging.
  void SetChargingState(ipc::EChargingState state);
  /// The group as this station sees it; nothing: it is in none. Any thread.
  std::optional<SLbGroupView> DescribeGroup() const;

 private:
  struct SBlackoutProtectionParts {
    std::shared_ptr<IMeasurementSource> source;
    CBlackoutProtectionBase::SSignals signals;
  };
  SBlackoutProtectionParts BlackoutProtectionParts() const;
  /// For a station that is in no group.
  std::shared_ptr<CBlackoutProtection> CreateBlackoutProtection(const SBlackoutProtectionParts& parts);
  /// With a blackout protection for the group, if one is wanted. False: the station is in no group.
  bool JoinGroup(const std::optional<SBlackoutProtectionParts>& parts);
  /// Without the serial line when a meter has it: then the fallback current holds, and the meter goes on.
  SGroupAccess GroupAccess() const;
  std::shared_ptr<CLoadBalancing> CreateLoadBalancing(
      std::shared_ptr<CBlackoutProtectionDGLB> blackoutProtection) const;
  std::shared_ptr<CUserCableLimit> CreateCableLimit();
  std::shared_ptr<CPhaseImbalanceMonitor> CreatePhaseImbalanceMonitor();
  std::shared_ptr<COvercurrentProtection> CreateOvercurrentProtection();
  std::shared_ptr<CSolarCharging> CreateSolarCharging();

  // What a component says is taken to the current limiter.
  void SetLimit(const SLimit& limit);
  void SetLimitWithPhases(const SLimit& limit);
  void RemoveLimit(ipc::ECurrentControlSource source);
  /// On the worker.
  void TakeCableLimit();
  void TakeOvercurrentLimit();

  const SSurroundings mSurroundings;
  /// For what is heard on threads that must not wait for charge control, and to keep in order what several
  /// threads say.
  CWorker mWorker;

  std::vector<std::shared_ptr<ILimiter>> mInOrder;
  std::vector<std::shared_ptr<IChargeControl>> mFollowers;  ///< of the charging state
  std::vector<std::shared_ptr<ILimiter>> mHeld;
  std::shared_ptr<CUserCableLimit> mCable;
  std::shared_ptr<COvercurrentProtection> mOvercurrentProtection;
  std::shared_ptr<CLoadBalancing> mLoadBalancing;  ///< null: in no group
  CToleratedCurrent mTolerated;                    ///< last: it ends first and tells the one above
};
