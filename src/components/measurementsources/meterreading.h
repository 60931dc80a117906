#pragma once

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
