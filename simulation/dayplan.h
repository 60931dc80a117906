#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ipc/adac.pb.h"

#include "platform/worker/scheduler.h"
#include "simulation/day.h"
#include "simulation/daysettings.h"
#include "simulation/loadplan.h"
#include "simulation/solarroof.h"
#include "simulation/vehicle.h"

/// What happens at a station within a day, made up from a seed: what the station and the house are like, the
/// weather, who comes with what vehicle and cable, what the user changes in the settings, and what the meters
/// suffer. The household by itself always stays below the fuse.
struct SDayPlan {
  static constexpr std::uint32_t kMostPeakWatt = 10000;  ///< of the roof

  enum class EVehicle : std::uint8_t {
    Quick,        ///< follows within 3 s
    Late,         ///< within the 5 s that a vehicle has, and takes up to 26 s to get up to full current
    Sluggish,     ///< takes up to 26 s down as well, so it does not obey
    TakesMore15,  ///< draws 15 % more than it may
    TakesMore26,
    IgnoresPhases,  ///< uses three where it may use one
    SinglePhase     ///< uses one where it may use three
  };
  /// Somebody plugs a vehicle in, with a cable of their own where the station has a socket.
  struct SVisit {
    Milliseconds from{};
    Milliseconds until{};
    ipc::EPpState cable = ipc::EPp32A;
    EVehicle kind = EVehicle::Quick;
    CVehicle::SProperties vehicle{};
    std::optional<Milliseconds> full{};  ///< when it has had enough

    /// Its current is at or below every new limit within 5 s.
    bool Obeys() const;
  };
  struct SChange {
    Milliseconds at;
    SDaySettings settings;
  };
  enum class ETrouble : std::uint8_t {
    MeterAway,
    MeterGarbled,
    StationMeterSilent,
    TransformersReset,  ///< the metering chip forgets its configuration
    TransformersGone
  };
  struct STrouble {
    ETrouble what;
    Milliseconds from;
    Milliseconds until;
  };

  /// The part of the day that is played; every other time of the plan counts from midnight as well.
  Milliseconds begin{0};
  Milliseconds end = kDay;
  // The station.
  std::uint32_t stationPhases = 3;
  bool hasSocket = true;
  bool hasStationMeter = true;  ///< without it nobody watches what the vehicle draws
  std::uint32_t hardwareAmpere = 32;
  std::uint32_t installationAmpere = 25;
  // The house.
  std::uint32_t fuseAmpere = 25;
  bool isFuseProtected = true;      ///< by blackout protection
  bool hasTransformers = false;     ///< and by means of them; else it shares the meter
  std::string meter = "modbustcp";  ///< at the house connection
  bool isImbalanceLimited = true;   ///< on three phases
  std::uint32_t imbalanceAmpere = 20;
  CSolarRoof::SProperties roof;
  std::vector<SLoads> loads;
  // What happens, all in order of time; visits and troubles of a kind do not overlap.
  std::vector<SVisit> visits;
  SDaySettings settings;  ///< at midnight
  std::vector<SChange> changes;
  std::vector<STrouble> troubles;

  /// The same for the same seed, on every machine. Behind Modbus meters only, since a day of pages or
  /// telegrams takes long: evenings have the other meters.
  static SDayPlan Make(std::uint64_t seed);
  /// One line: what sets this day apart.
  std::string Summary() const;
  std::string Hwinfo() const;
  /// The whole settings.json while these settings hold.
  std::string Settings(const SDaySettings& inForce) const;
};
