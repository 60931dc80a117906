#pragma once

#include <cstdint>
#include <string_view>

namespace KoConfig {
class IReadOnlyConfig;
}

/// How solar charging turns surplus into current.
struct SSolarStrategy {
  std::int32_t PowerThreshold = 0;            ///< W of surplus that charging needs
  std::int32_t CurrentOffset = 0;             ///< mA that may come from the grid on top of the surplus
  float CurrentGain = 1.0F;                   ///< factor on surplus and offset
  std::int64_t ContinuousStartThreshold = 0;  ///< s of enough surplus before charging starts
  std::int64_t ContinuousStopThreshold = 0;   ///< s of too little surplus before charging stops
  std::int32_t Phases = 1;                    ///< 1 or 3
};

/// The mode that is used when the settings name none, or one that does not exist.
inline constexpr std::string_view kDefaultSolarMode = "OptimizedSolar";
/// The mode whose strategy is in the settings.
inline constexpr std::string_view kAdvancedSolarMode = "AdvancedSolar";

/// The built-in strategy of a mode, for the whole life of the process; null for any other mode. Exact case.
const SSolarStrategy* FindSolarStrategy(std::string_view mode);

/// The strategy that the settings describe. The reference is the calling thread's own, valid until its next
/// call or its end: copy what shall live longer or is handed to another thread.
const SSolarStrategy& ReadAdvancedSolarStrategy(const KoConfig::IReadOnlyConfig& settings);
