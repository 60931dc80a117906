#pragma once

#include <optional>
#include <string>

#include "ipc/currentcontrol.pb.h"

#include "simulation/house.h"
#include "simulation/meteringchip.h"
#include "simulation/simulatedbasiccharge.h"

/// What the live table shows, all from about one moment.
struct SStationView {
  Milliseconds time;                                 ///< since the start
  std::optional<ipc::MCurrentControlLimits> limits;  ///< none: current control did not answer
  std::optional<CSimulatedBasicCharge::SArrival> arrival;
  Milliseconds arrivalAge;
  CVehicle::EState vehicle;
  CHouse::SView house;
  std::optional<CMeteringChip::SConfiguration> chip;  ///< none: it is away
};

/// A block of lines; ends with a line end.
std::string FormatStation(const SStationView& view);
