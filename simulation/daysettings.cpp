#include "simulation/daysettings.h"

#include <fmt/format.h>

using std::chrono::seconds;

SDaySettings::SThresholds SDaySettings::Thresholds() const {
  if (mode == "AdvancedSolar") return advanced.thresholds;
  if (mode == "PureSolar") return {1300, seconds(60), seconds(900)};
  return {500, seconds(60), seconds(1800)};
}

std::string SDaySettings::ToJsonMembers() const {
  return fmt::format(R"("SolarChargingAllowed": true,
"SolarChargingEnable": {},
"SolarChargingMode": "{}",
"SolarChargingPhaseSwitchingMode": "{}",
"SolarChargingAdvancedPowerThreshold": {},
"SolarChargingAdvancedCurrentOffset": {},
"SolarChargingAdvancedCurrentGain": {}.{:02},
"SolarChargingAdvancedContinuousStartThreshold": {},
"SolarChargingAdvancedContinuousStopThreshold": {},
"SolarChargingAdvancedPhases": {},
"UserDefinedChargeLimitCurrentAllowed": true,
"UserDefinedChargeLimitCurrent": {})",
                     isSolarEnabled, mode, phaseSwitching, advanced.thresholds.watt,
                     advanced.offsetMilliAmpere, advanced.gainPercent / 100, advanced.gainPercent % 100,
                     advanced.thresholds.start.count(), advanced.thresholds.stop.count(), advanced.phases,
                     userAmpere);
}
