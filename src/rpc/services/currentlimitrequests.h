#pragma once

#include <memory>

#include "ipc/currentcontrol.pb.h"

class CCurrentLimiter;

/// What clients may ask of the current limiter, and what not. Any thread.
class CCurrentLimitRequests {
 public:
  explicit CCurrentLimitRequests(std::shared_ptr<CCurrentLimiter> limiter);

  /// Stores a client's limit. Sources of the service's own components, sources that clients do not have, and
  /// negative limits answer 1 and store nothing. Phases other than 1 and 3 mean the default phase count.
  ipc::MResult SetCurrentLimit(const ipc::MCurrentControlLimit& request);
  /// Removes any source's limit.
  ipc::MResult ClearCurrentLimit(const ipc::MCurrentControlLimit& request);
  /// The setpoint in force: the deciding current source, mA (-1000 before the first), phases.
  ipc::MCurrentControlLimit GetCurrentLimit();
  /// Every stored limit, the setpoint, and who decides.
  ipc::MCurrentControlLimits GetLimits();

 private:
  const std::shared_ptr<CCurrentLimiter> mLimiter;
};
