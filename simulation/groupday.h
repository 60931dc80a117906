#pragma once

#include <cstdint>

#include "simulation/groupplan.h"

/// A day of a group, 00:00 to 24:00, made up from a seed: the stations of a building and its households are
/// behind one main fuse, roofs give solar power, vehicles come in the morning and in the evening, and
/// sometimes the network, a station or somebody who sets it up fails. Vehicles obey as those of a standard
/// must.
namespace GroupDay {

/// The same for the same arguments, on every machine. 2 to `SGroupPlan::kMostStations` stations.
SGroupPlan Make(std::uint64_t seed, std::uint32_t stations);

}  // namespace GroupDay
