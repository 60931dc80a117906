#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ipc/currentcontrol.pb.h"

#include "simulation/house.h"
#include "simulation/meteringchip.h"
#include "simulation/simulatedbasiccharge.h"
#include "tools/stationsim/offeredmeters.h"

/// What the live table shows, all from about one moment.
struct SStationView {
  Milliseconds time;                                 ///< since the start
  std::optional<ipc::MCurrentControlLimits> limits;  ///< none: current control did not answer
  std::optional<CSimulatedBasicCharge::SArrival> arrival;
  Milliseconds arrivalAge;
  CVehicle::EState vehicle;
  CHouse::SView house;
  bool hasTransformers;                               ///< behind the metering chip
  std::optional<CMeteringChip::SConfiguration> chip;  ///< none: it is away
  std::vector<COfferedMeters::SOffer> offers;
  CHouseMeter::EFate fate;  ///< of all that are offered
};

/// A block of lines; ends with a line end.
std::string FormatStation(const SStationView& view);
