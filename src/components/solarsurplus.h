#pragma once

#include <array>
#include <cstdint>

struct SSolarStrategy;

/// What the sun leaves over, as the meters of the house and of the station show it at one moment. Whatever
/// meters say, nothing here overflows: what would is clamped.
struct SSolarSurplus {
  /// What the vehicle draws on L1 to L3, in mA, is no part of the household, though the house's meter counts
  /// it as such. While the vehicle draws on no phase it is taken to use the desired ones.
  static SSolarSurplus Of(std::int64_t householdWatt, std::int32_t volt,
                          const std::array<std::int32_t, 3>& milliAmpere, std::uint8_t desiredPhases);

  /// What the vehicle may draw on each phase, in mA, when it is to charge on so many; never less than it can
  /// charge with. A vehicle that uses fewer phases than the desired ones may draw all of it on those.
  std::int32_t LimitFor(std::uint8_t phases, const SSolarStrategy& strategy) const;

  std::int32_t watt = 0;            ///< negative: more is drawn than the roof gives, without the vehicle
  std::int32_t volt = 230;          ///< of each phase, never less than 180
  std::uint8_t desiredPhases = 1;   ///< on which it charges, or is to when it starts
  std::uint8_t measuredPhases = 1;  ///< on which the vehicle draws
};
