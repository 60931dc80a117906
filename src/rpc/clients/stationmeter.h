#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>

#include "platform/worker/scheduler.h"

/// Values of the station's own meter that are older do not count.
inline constexpr Milliseconds kLongestStationMeterAge{10000};

/// What the station's own meter measures towards the vehicle, on L1 to L3.
struct SStationMeterData {
  std::array<std::int32_t, 3> milliAmpere{};
  std::array<std::int32_t, 3> milliVolt{};
};

/// The newest values of that meter; none while it is silent. Any thread, without waiting.
using StationMeter = std::function<std::optional<SStationMeterData>()>;
