#pragma once

#include <cstdint>

#include "src/components/measurementsources/measurement.h"

/// Blackout protection as group load balancing sees it. Any thread.
class IBlackoutProtection {
 public:
  virtual ~IBlackoutProtection() = default;

  /// Whether the currents of the house cannot be relied on.
  virtual bool IsInError() const = 0;
  /// What the main fuse has left on each phase, in mA; negative when it is overloaded.
  virtual ThreePhaseValue GetAllowanceCurrent() = 0;
  /// What may be drawn while the currents of the house are not known, in mA.
  virtual std::uint32_t GetFallbackCurrent() const = 0;
};
