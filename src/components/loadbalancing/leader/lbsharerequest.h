#pragma once

#include <cstdint>
#include <limits>

#include "src/components/loadbalancing/lbmessage.h"
#include "src/limitationsources/limits.h"

/// The smallest current that a vehicle charges with, in mA.
inline constexpr std::uint32_t kLbLeastMilliAmpere{kLeastChargingMilliAmpere};

/// One station's part in a distribution.
struct SLbShareRequest {
  LbPhases phases = kLbAllPhases;  ///< on which its vehicle draws, or may
  std::uint32_t mostMilliAmpere = std::numeric_limits<std::uint32_t>::max();  ///< that it can use
  /// What it may fall back to at any time, whatever it is told. Counts on every phase.
  std::uint32_t reserveMilliAmpere = 0;
  LbPhaseCurrents overdrawn{};  ///< what it draws whatever it is told
  /// Nobody draws there: it gets the least current, of what the others leave.
  bool isOffer = false;

  std::uint32_t shareMilliAmpere = 0;  ///< the result: 0, or at least the least current
};
