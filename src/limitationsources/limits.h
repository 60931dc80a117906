#pragma once

#include <cstdint>

/// A; the setpoint when nobody limits, and so the largest limit worth asking for.
inline constexpr std::int32_t kNoLimitAmpere = 999;

/// Phases that the limit of a component names.
inline constexpr std::uint32_t kLimitedPhases = 3;

inline constexpr std::int32_t kMilliAmperePerAmpere = 1000;

/// The least that a vehicle charges with; less means a pause.
inline constexpr std::int32_t kLeastChargingMilliAmpere = 6000;
