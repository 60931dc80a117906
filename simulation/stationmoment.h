#pragma once

#include <array>
#include <cstdint>

#include "ipc/adac.pb.h"
#include "ipc/currentcontrol.pb.h"

#include "platform/worker/scheduler.h"
#include "simulation/vehicle.h"

/// What there is to see of a station, its vehicle and its house at a moment. Arrays are for L1 to L3.
struct SStationMoment {
  Milliseconds at{};  ///< since the start

  CVehicle::Currents load{};            ///< mA that the household takes
  CVehicle::Currents generation{};      ///< mA that the roof gives
  CVehicle::Currents vehicle{};         ///< mA that the vehicle draws
  std::array<std::int32_t, 3> house{};  ///< mA at the house connection, negative while it feeds in
  std::uint32_t fuseMilliAmpere = 0;    ///< rating of the main fuse
  double fuseHeat = 0;                  ///< as a part of what trips it
  double highestHeat = 0;               ///< that it, and any fuse before it, has had so far
  bool hasFuseTripped = false;

  // All at the voltages of the house's meter.
  std::int32_t loadWatt = 0;
  std::int32_t generationWatt = 0;
  std::int32_t vehicleWatt = 0;
  std::int32_t setpointWatt = 0;  ///< of a vehicle that takes all it is offered
  std::int32_t gridWatt = 0;      ///< drawn at the house connection; negative: fed in
  /// What the roof gives and the household does not take; negative: it takes more.
  std::int32_t surplusWatt = 0;

  std::uint32_t setpointMilliAmpere = 0;  ///< as charge control took it
  std::uint32_t setpointPhases = 0;
  ipc::ECurrentControlSource source{};       ///< that decides the current
  ipc::ECurrentControlSource phaseSource{};  ///< and the phases
  CVehicle::EState vehicleState{};
  bool isStopped = false;  ///< the vehicle, until it is unplugged
  ipc::EPpState cable{};
};
