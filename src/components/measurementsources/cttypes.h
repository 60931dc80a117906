#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// A current transformer that can be wired to the metering chip.
struct SCtType {
  std::string_view name;  ///< as the settings give it
  float turnsRatio;
  std::uint32_t nominalCurrent;  ///< A
  std::uint16_t pgaGain;         ///< of the chip's current channels
};

/// Null: no such transformer. Exact case.
const SCtType* FindCtType(std::string_view name);

/// All of them, for messages.
std::string CtTypeNames();
