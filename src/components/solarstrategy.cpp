#include "src/components/solarstrategy.h"

#include <algorithm>
#include <iterator>

#include "platform/koconfig/koconfig.h"
#include "src/components/settingskeys.h"

namespace {

struct SMode {
  std::string_view name;
  SSolarStrategy strategy;
};

constexpr SMode kModes[] = {
    {"PureSolar", {1300, 0, 1.0F, 60, 900, 1}},
    {kDefaultSolarMode, {500, 4000, 1.0F, 60, 1800, 1}},
    {"MaxSolar", {500, 100000, 1.0F, 60, 1800, 3}},
};

}  // namespace

const SSolarStrategy* FindSolarStrategy(std::string_view mode) {
  const auto* found = std::ranges::find(kModes, mode, &SMode::name);
  return found == std::end(kModes) ? nullptr : &found->strategy;
}

const SSolarStrategy& ReadAdvancedSolarStrategy(const KoConfig::IReadOnlyConfig& settings) {
  // One for each thread: the reference stays good without a lock while other threads ask too.
  thread_local SSolarStrategy strategy;
  const std::uint32_t phases = settings.GetUnsigned("SolarChargingAdvancedPhases", 1);
  strategy = {
      .PowerThreshold = settings.GetSigned("SolarChargingAdvancedPowerThreshold", 1300),
      .CurrentOffset = settings.GetSigned("SolarChargingAdvancedCurrentOffset", 0),
      .CurrentGain = settings.GetFloat(SettingsKeys::kSolarAdvancedCurrentGain, 1.0F),
      .ContinuousStartThreshold = settings.GetSigned("SolarChargingAdvancedContinuousStartThreshold", 60),
      .ContinuousStopThreshold = settings.GetSigned("SolarChargingAdvancedContinuousStopThreshold", 900),
      .Phases = phases == 3 ? 3 : 1,
  };
  return strategy;
}
