#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simulation/dayrule.h"
#include "simulation/runtotals.h"
#include "simulation/stationmoment.h"

/// A run that is over, as reports show it.
struct SSimulatedRun {
  /// The highest current at the house connection, whichever way it flowed.
  struct SPeak {
    Milliseconds at{};
    std::int32_t milliAmpere = 0;
    std::uint32_t phase = 1;  ///< 1 to 3
    std::uint32_t fuseMilliAmpere = 0;
  };

  std::string title;
  std::string about;                       ///< one line; may be empty
  bool isDay = false;                      ///< times are times of day
  bool hasRules = false;                   ///< which were checked
  std::vector<std::string> warnings = {};  ///< of the application at another station, each once
  std::vector<SStationMoment> moments{};   ///< one of every step, the start first
  SPeak peak{};
  bool hasFuseTripped = false;
  SRunTotals totals{};
  std::vector<SDayViolation> violations{};  ///< in order of time

  bool IsGood() const { return violations.empty() && !hasFuseTripped; }
};
