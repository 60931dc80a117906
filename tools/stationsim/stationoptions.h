#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include "platform/worker/scheduler.h"
#include "simulation/house.h"
#include "src/limitationsources/limits.h"
#include "tools/stationsim/offeredmeters.h"

/// The command line of stationsim.
struct SStationOptions {
  std::filesystem::path root;
  std::filesystem::path scenario;      ///< empty: nothing happens by itself
  std::optional<Milliseconds> runFor;  ///< none: until told to end
  std::uint32_t fuseAmpere = CHouse::kUsualFuseMilliAmpere / kMilliAmperePerAmpere;
  SMeterChoice meters;
  bool table = false;
  bool help = false;
};

/// Throws CUsageError. The first word is the program's own name.
SStationOptions ReadStationOptions(std::span<char* const> arguments);

/// What --help prints.
std::string StationHelp();
