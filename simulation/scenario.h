#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <json/value.h>

#include "ipc/adac.pb.h"
#include "ipc/currentcontrol.pb.h"
#include "ipc/safetymcucomm.pb.h"

#include "platform/utility/files.h"
#include "platform/worker/scheduler.h"
#include "simulation/housemeter.h"
#include "simulation/solarroof.h"
#include "simulation/vehicle.h"

/// What happens around current control, and when. The file's form is described in docs/scenarios.md.
struct SScenario {
  /// Phases of 0 leave the choice to current control.
  struct SSetLimit {
    ipc::MCurrentControlLimit limit;
  };
  struct SClearLimit {
    ipc::ECurrentControlSource source;
  };
  /// What is not given stays as it is.
  struct SVehicleChange {
    std::optional<bool> connected;
    std::optional<bool> full;
    std::optional<std::uint32_t> maxMilliAmpere;
    std::optional<std::uint32_t> phases;
    std::optional<Milliseconds> reaction;
    std::optional<std::uint32_t> rampMilliAmperePerSecond;
    std::optional<std::uint32_t> rampDownMilliAmperePerSecond;
    std::optional<std::uint32_t> excessPercent;
    std::optional<bool> ignoresPhaseCount;
    std::optional<bool> inWholeAmperes;
  };
  /// A loose cable with a vehicle at its other end.
  struct SCable {
    std::optional<ipc::EPpState> plugged;  ///< its rating; none: it is pulled
  };
  struct SPpState {
    ipc::EPpState state;
  };
  struct STemperatures {
    std::optional<float> adac;
    std::optional<float> netm;
    std::optional<ipc::MMcuTemperatures> mcu;
  };
  struct SChargeControl {
    bool refuse;
  };
  struct SSupervisor {
    bool enable;
  };
  /// What is not given stays as it is; a fuse that is given is a new one.
  struct SHouseChange {
    std::array<std::optional<std::uint32_t>, CVehicle::kPhases> loadMilliAmpere;  ///< of L1 to L3
    std::optional<std::uint32_t> fuseAmpere;
  };
  struct SMeteringChip {
    enum class EFate { Reset, Vanish, Return } fate;
  };
  /// The meter at the house connection.
  struct SMeter {
    CHouseMeter::EFate fate;
  };
  /// What stands on the roof from now on; none: nothing.
  struct SRoof {
    std::optional<CSolarRoof::SProperties> properties;
    Milliseconds begin{0};  ///< the time of day when the scenario begins
  };
  /// Keys of settings.json and what they are from now on; null: they are not there any more.
  struct SSettings {
    Json::Value values;
  };
  /// The one towards the vehicle.
  struct SStationMeter {
    bool silent;
  };
  using Action =
      std::variant<SSetLimit, SClearLimit, SVehicleChange, SCable, SPpState, STemperatures, SChargeControl,
                   SSupervisor, SHouseChange, SRoof, SMeteringChip, SMeter, SStationMeter, SSettings>;

  struct SEvent {
    Milliseconds at;
    Action action;
  };

  /// Zero: the scenario is played once. Otherwise longer than every event's time.
  Milliseconds repeat{0};
  std::vector<SEvent> events;  ///< in order of time
};

/// Reads a scenario from its text; throws CFileError. `name` is the file's, for messages.
SScenario ReadScenario(const std::string& name, std::string text);

/// Reads a scenario from its file; throws CFileError.
SScenario LoadScenario(IFiles& files, const std::filesystem::path& path);
