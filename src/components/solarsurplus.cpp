#include "src/components/solarsurplus.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "src/components/solarstrategy.h"
#include "src/limitationsources/limits.h"

namespace {

constexpr std::int32_t kLeastVolt = 180;
constexpr std::int32_t kNominalVolt = 230;
/// A phase that carries less is not charged on.
constexpr std::int32_t kIdleMilliAmpere = 1000;

std::int64_t ClampToInt32(std::int64_t value) {
  using Limits = std::numeric_limits<std::int32_t>;
  return std::clamp<std::int64_t>(value, Limits::min(), Limits::max());
}

}  // namespace

SSolarSurplus SSolarSurplus::Of(std::int64_t householdWatt, std::int32_t volt,
                                const std::array<std::int32_t, 3>& milliAmpere, std::uint8_t desiredPhases) {
  if (volt < kLeastVolt) volt = kNominalVolt;
  const std::int64_t sum = std::accumulate(milliAmpere.begin(), milliAmpere.end(), std::int64_t{0});
  const std::int64_t vehicleWatt = ClampToInt32(sum) * volt / kMilliAmperePerAmpere;
  const auto phases = std::ranges::count_if(milliAmpere, [](auto value) { return value > kIdleMilliAmpere; });
  return {.watt = static_cast<std::int32_t>(ClampToInt32(vehicleWatt - householdWatt)),
          .volt = volt,
          .desiredPhases = desiredPhases,
          .measuredPhases = phases == 0 ? desiredPhases : static_cast<std::uint8_t>(phases)};
}

std::int32_t SSolarSurplus::LimitFor(std::uint8_t phases, const SSolarStrategy& strategy) const {
  constexpr auto kLeast = static_cast<float>(kLeastChargingMilliAmpere);
  constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
  const std::int64_t total = std::int64_t{watt} * kMilliAmperePerAmpere / volt;
  // All of it may be drawn on each phase where the strategy wants three.
  const int used = phases == desiredPhases ? measuredPhases : phases;
  const int parts = strategy.Phases == 3 ? 1 : std::max(used, 1);
  const float limit =
      static_cast<float>(total / parts + strategy.CurrentOffset / parts) * strategy.CurrentGain;
  if (!std::isfinite(limit) || limit < kLeast) return kLeastChargingMilliAmpere;
  return limit < static_cast<float>(kMost) ? static_cast<std::int32_t>(limit) : kMost;
}
