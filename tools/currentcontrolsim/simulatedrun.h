#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simulation/simulatedmeter.h"
#include "simulation/stationday.h"
#include "simulation/stationmoment.h"

/// V; of whatever is told as a power here.
inline constexpr std::int64_t kSimulatedVolt = CSimulatedMeter::kUsualMilliVolt / 1000;

/// W of these currents together.
template <class TCurrents>
std::int64_t Watt(const TCurrents& milliAmpere) {
  return (std::int64_t{milliAmpere[0]} + milliAmpere[1] + milliAmpere[2]) * kSimulatedVolt / 1000;
}

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
  std::string about;                      ///< one line; may be empty
  bool isDay = false;                     ///< times are times of day
  bool hasRules = false;                  ///< which were checked
  std::vector<SStationMoment> moments{};  ///< one of every step, the start first
  SPeak peak{};
  bool hasFuseTripped = false;
  CStationDay::SOutcome outcome{};

  bool IsGood() const { return outcome.violations.empty() && !hasFuseTripped; }
};
