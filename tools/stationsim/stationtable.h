#pragma once

#include <optional>
#include <string>

#include "ipc/currentcontrol.pb.h"

#include "simulation/chargepoint.h"
#include "simulation/simulatedbasiccharge.h"

/// What the live table shows, all from about one moment.
struct SStationView {
  Milliseconds time;                                 ///< since the start
  std::optional<ipc::MCurrentControlLimits> limits;  ///< none: current control did not answer
  std::optional<CSimulatedBasicCharge::SArrival> arrival;
  Milliseconds arrivalAge;
  CChargePoint::SView vehicle;
};

/// A block of lines; ends with a line end.
std::string FormatStation(const SStationView& view);
