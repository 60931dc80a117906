#include <fstream>
#include <iterator>
#include <string>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "src/components/currentcontrolconfig.h"
#include "src/components/solarcharging.h"
#include "support/memoryconfig.h"

namespace {

TEST(SolarChargingPage, TellsModesAndDefaults) {
  std::ifstream file(SOLAR_CHARGING_PAGE);
  const std::string page(std::istreambuf_iterator<char>(file), {});
  const auto settings = std::make_shared<CMemoryConfig>();
  const CCurrentControlConfig config(settings, std::make_shared<CMemoryConfig>());
  EXPECT_EQ(&config.GetSolarStrategy(), FindSolarStrategy("OptimizedSolar"));
  std::vector<std::string> texts{
      fmt::format("Every {} s", CSolarCharging::kPeriod.count() / 1000),
      fmt::format("`SolarChargingAllowed` * | {} |", config.GetSolarChargingAllowed()),
      fmt::format("`SolarChargingEnable` | {} |", config.GetSolarChargingEnable()),
      fmt::format("`SolarChargingMode` | {} |", kDefaultSolarMode),
      fmt::format("`SolarChargingPhaseSwitchingMode` | {} |", config.GetSolarPhaseSwitchingMode()),
      fmt::format("`ConnectedPhases` | {} |", config.GetConnectedPhases())};
  for (const auto* mode : {"PureSolar", "OptimizedSolar", "MaxSolar", "AdvancedSolar"}) {
    settings->Set("SolarChargingMode", mode);
    const auto& s = config.GetSolarStrategy();
    texts.push_back(fmt::format("| {} | {} | {} | {} | {} | {} | {} |\n", mode, s.PowerThreshold,
                                s.CurrentOffset, s.CurrentGain, s.ContinuousStartThreshold,
                                s.ContinuousStopThreshold, s.Phases == 3 ? "3" : "1 or 3"));
  }
  for (const auto& text : texts) EXPECT_THAT(page, testing::HasSubstr(text));
}

}  // namespace
