#pragma once

#include <chrono>
#include <functional>

/// The wall clock, which may jump: to tell people when something was, never how long ago.
inline std::chrono::system_clock::time_point WallClockNow() {
  return std::chrono::system_clock::now();
}

/// That clock, or a modelled one.
using WallClock = std::function<std::chrono::system_clock::time_point()>;
