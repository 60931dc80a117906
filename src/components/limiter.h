#pragma once

#include <cstdint>

#include "ipc/basiccharge2.pb.h"
#include "ipc/currentcontrol.pb.h"

/// A limit as a limiting component states it.
struct SLimit {
  ipc::ECurrentControlSource source;
  std::int32_t milliAmpere;
  std::uint32_t phases;
};

/// A component that limits the charging current under a source of its own.
class ILimiter {
 public:
  virtual ~ILimiter() = default;
  virtual void Disable() = 0;
  virtual void Enable() = 0;
  virtual SLimit GetLimit() = 0;
};

/// A limiting component that also follows whether the vehicle is charging. It implements the operations of
/// both interfaces once.
class IChargeControl {
 public:
  virtual ~IChargeControl() = default;
  virtual void Enable() = 0;
  virtual void Disable() = 0;
  virtual SLimit GetLimit() = 0;
  /// Told at every change, on a thread of the RPC framework: must not wait for a call of charge control.
  virtual void SetChargingState(ipc::EChargingState state) = 0;
};
