#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "platform/worker/scheduler.h"
#include "simulation/vehicle.h"

/// From this moment on the household takes so much, in mA on L1 to L3.
struct SLoads {
  Milliseconds at;
  CVehicle::Currents milliAmpere;
};

/// Something that is switched on on one phase, or on all three.
struct SAppliance {
  std::size_t phase;  ///< 0 to 2; CVehicle::kPhases: all
  std::int64_t milliAmpere;
  Milliseconds begin;
  Milliseconds end;
};

/// Adds up what appliances take. One thread.
class CLoadPlan {
 public:
  using Change = std::array<std::int64_t, CVehicle::kPhases>;

  explicit CLoadPlan(const Change& base) { mChanges[Milliseconds{0}] = base; }

  void AddStep(const SAppliance& appliance);
  /// Grows once per second, `steps` times, until it is at its full current, and goes off at its end.
  void AddRamp(const SAppliance& appliance, std::int64_t steps);
  /// On and off, as a hob or a pump.
  void AddBursts(const SAppliance& appliance, Milliseconds on, Milliseconds off);

  /// All in order of time, and by itself always a little less than a main fuse of this rating bears.
  std::vector<SLoads> Behind(std::uint32_t fuseAmpere) const;

 private:
  void Add(const SAppliance& appliance, Milliseconds at, std::int64_t milliAmpere);

  /// By how much the load of each phase changes at a moment, in mA.
  std::map<Milliseconds, Change> mChanges;
};
