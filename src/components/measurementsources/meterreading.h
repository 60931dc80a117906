#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "src/components/measurementsources/measurement.h"

/// What a meter tells of one moment. What it does not measure is missing.
struct SMeterReading {
  std::optional<ThreePhaseValue> current;  ///< mA; negative on a phase that feeds in
  std::optional<ThreePhaseValue> voltage;  ///< V
  /// W; the household's total in the first element, the others are 0. Negative when it feeds in.
  std::optional<ThreePhaseValue> activePower;

  bool operator==(const SMeterReading&) const = default;
};

/// What `ofPhase` tells of each phase, from 0; nothing where it tells nothing of all of them.
template <class TOfPhase>
std::optional<ThreePhaseValue> OfEachPhase(const TOfPhase& ofPhase) {
  std::optional<ThreePhaseValue> values;
  for (std::size_t phase = 0; phase < ThreePhaseValue().size(); ++phase) {
    const std::optional<std::int32_t> value = ofPhase(phase);
    if (!value) continue;
    if (!values) values.emplace();
    (*values)[phase] = *value;
  }
  return values;
}
