#pragma once

#include <cstdint>

#include "ipc/common.pb.h"

/// Charge control as the current limiter needs it. Any thread.
class IChargeControlService {
 public:
  virtual ~IChargeControlService() = default;

  /// Tells charge control what the vehicle may draw, in mA on 1 or 3 phases. Waits for the answer, at most a
  /// second. Code 1 is failure: the peer refused or could not be reached.
  virtual ipc::MResult SetChargeCurrent(std::uint32_t milliAmpere, std::uint8_t phases) = 0;
};
