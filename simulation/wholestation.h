#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "simulation/igroupstation.h"
#include "simulation/virtualstation.h"
#include "src/components/loadbalancing/lbphaserotation.h"

/// A station of a group with all that ships on it, for 32 A on three phases with a cable of its own. What it
/// offers its vehicle is taken for the group's limit, for no other one of its limits is as low, and none
/// matters more. One thread.
class CWholeStation final : public IGroupStation {
 public:
  explicit CWholeStation(SGroupPlace place);

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
  void TakeOffer(std::uint32_t milliAmpere);
  void ShowVehicle();

  const SGroupPlace mPlace;
  const CLbPhaseRotation mRotation;
  Json::Value mSettings;
  std::optional<CVehicle::SProperties> mVehicle;  ///< none: there is none
  bool mIsFull = false;
  std::array<std::int32_t, 3> mHouse{};
  std::uint32_t mLimit = 0;
  mutable std::optional<CVirtualStation> mStation;  ///< none: without power
};
