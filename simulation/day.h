#pragma once

#include "platform/worker/scheduler.h"

/// From 00:00 to 24:00, for everything that goes by the time of day.
inline constexpr Milliseconds kDay{std::chrono::hours(24)};
