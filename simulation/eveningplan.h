#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/worker/scheduler.h"
#include "simulation/loadplan.h"
#include "simulation/vehicle.h"

/// What happens in half an hour of a house and its station, made up from a seed: what is switched on where,
/// what the vehicle is like, what the meter suffers. The household by itself always stays below the
/// fuse. In the last minutes nothing but the base load is on and the meter is well, so that the vehicle must
/// get its full current back.
struct SEveningPlan {
  using Currents = CVehicle::Currents;

  static constexpr Milliseconds kLength{30 * 60 * 1000};
  /// From here on all is calm.
  static constexpr Milliseconds kCalm{25 * 60 * 1000};

  enum class ETrouble { Reset, ResetAndRefuse, Vanish, Recover };

  struct STrouble {
    Milliseconds at;
    ETrouble what;
  };
  struct SPlug {
    Milliseconds at;
    bool connected;
  };

  bool isProtected = true;   ///< by blackout protection
  std::string meter = "ct";  ///< the type of the one that measures the house
  std::uint32_t fuseAmpere = 25;
  std::uint32_t installationAmpere = 25;
  std::uint32_t stationPhases = 3;
  CVehicle::SProperties vehicle;
  std::vector<SLoads> loads;  ///< all in order of time
  std::vector<STrouble> troubles;
  std::vector<SPlug> plugs;

  /// The same for the same seed, on every machine.
  static SEveningPlan Make(std::uint64_t seed);
};
