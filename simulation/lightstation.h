#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

#include "simulation/chargepoint.h"
#include "simulation/igroupstation.h"
#include "simulation/lightfuse.h"
#include "simulation/memorysettings.h"
#include "src/components/loadbalancing/lbphaserotation.h"
#include "src/rpc/clients/stationmeter.h"

class CDiagnosticsCommClient;
class CLbPhaseHandler;
class CLoadBalancing;
class CLoadBalancingConfig;

/// A station that has nothing but its part in the group, as it ships: days of a large group take seconds. The
/// group's limit is the only one. One thread.
class CLightStation final : public IGroupStation {
 public:
  explicit CLightStation(SGroupPlace place);
  ~CLightStation() override;

  void PowerOn() override;
  void PowerOff() override;
  void Plug(const CVehicle::SProperties& vehicle) override;
  void Unplug() override;
  void SetFull(bool full) override;
  void SetHouse(const std::array<std::int32_t, 3>& milliAmpere) override;
  void ChangeSettings(const Json::Value& values) override;
  std::uint32_t LimitMilliAmpere() const override { return mLimit; }
  LbPhaseCurrents Drawn() const override;
  SLbGroupView Describe() override;

 private:
  void TakeLimit(std::uint32_t milliAmpere);
  SStationMeterData ReadMeter() const;

  const SGroupPlace mPlace;
  const std::shared_ptr<CMemorySettings> mSettings;
  const std::shared_ptr<CLoadBalancingConfig> mConfig;
  const CLbPhaseRotation mRotation;
  const std::shared_ptr<CLightFuse> mFuse;  ///< null: none is watched
  const std::shared_ptr<CDiagnosticsCommClient> mDiagnostics;
  mutable CChargePoint mChargePoint;
  std::uint32_t mLimit = 0;
  // With power.
  std::shared_ptr<CLbPhaseHandler> mPhaseHandler;
  std::unique_ptr<CLoadBalancing> mGroup;
};
