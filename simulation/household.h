#pragma once

#include <cstdint>
#include <vector>

#include "platform/worker/scheduler.h"
#include "simulation/loadplan.h"

/// What a household takes through a day, 00:00 to 24:00, made up from a seed that repeats it on every
/// machine: a base load that is always on, fridge and heat pump, kettles here and there, washing, dinner and
/// an evening at home. By itself it stays below the fuse. Never changed, so any thread.
class CHousehold {
 public:
  static constexpr std::uint32_t kUsualFuseAmpere = 25;

  explicit CHousehold(std::uint64_t seed, std::uint32_t fuseAmpere = kUsualFuseAmpere);

  /// All changes in order of time, the first at 00:00.
  const std::vector<SLoads>& Day() const { return mDay; }

 private:
  std::vector<SLoads> mDay;
};
