#pragma once

#include <cstdint>

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

/// A limiting component that also follows whether the vehicle is charging. It implements each operation once
/// for both interfaces.
class IChargeControl {
 public:
  virtual ~IChargeControl() = default;
  virtual void Enable() = 0;
  virtual void Disable() = 0;
  virtual SLimit GetLimit() = 0;
};
