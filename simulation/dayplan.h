#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ipc/adac.pb.h"

#include "platform/worker/scheduler.h"
#include "simulation/vehicle.h"

/// What happens at a station within a day, made up from a seed: what the station and the house are like, the
/// weather, who comes with what vehicle and cable, what the user changes in the settings, and what the meters
/// suffer. The household by itself always stays below the fuse.
struct SDayPlan {
  static constexpr Milliseconds kLength{24 * 3600 * 1000};

  /// The same for the same seed, on every machine.
  static SDayPlan Make(std::uint64_t seed);
  /// One line: what sets this day apart.
  std::string Summary() const;
};
