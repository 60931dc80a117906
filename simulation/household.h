#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/worker/scheduler.h"
#include "simulation/loadplan.h"
#include "simulation/random.h"

/// What a household takes through a day, made up from a seed that repeats it on every machine: a base load
/// that is always on, fridge and heat pump, kettles here and there, washing, dinner and an evening at home.
/// Never changed, so any thread.
class CHousehold {
 public:
  explicit CHousehold(std::uint64_t seed);

  /// All changes in order of time, the first at 00:00; by itself it stays below a fuse of this rating.
  std::vector<SLoads> Behind(std::uint32_t fuseAmpere) const { return mLoads.Behind(fuseAmpere); }

 private:
  CLoadPlan::Change Base();
  std::size_t AnyPhase() { return mRandom.Index(CVehicle::kPhases); }
  void AddFridge();
  void AddHeatPump();
  void AddKettle();
  void AddWashing();
  void AddDinner();
  void Burst(const SAppliance& appliance, Milliseconds shortest, Milliseconds longest);
  void AddEvening();

  CRandom mRandom;
  const std::size_t mKitchen = AnyPhase();
  CLoadPlan mLoads;
};
