#include "src/components/currentcontrolconfig.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <utility>

#include "platform/log/log.h"
#include "platform/utility/text.h"
#include "src/components/settingskeys.h"
#include "src/limitationsources/limits.h"

namespace {

constexpr auto kClassName = "CCurrentControlConfig";

constexpr std::string_view kFuseRatingKey = "CurrentCtrlBopFuseRating";

constexpr std::uint32_t ToMilliAmpere(std::uint32_t ampere) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
  return static_cast<std::uint32_t>(std::min(std::uint64_t{ampere} * kMilliAmperePerAmpere, kMost));
}

}  // namespace

CCurrentControlConfig::CCurrentControlConfig(std::shared_ptr<KoConfig::IConfig> settings,
                                             std::shared_ptr<KoConfig::IReadOnlyConfig> hwinfo)
    : mSettings(std::move(settings)), mHwinfo(std::move(hwinfo)), mPhaseConfig(mSettings, mHwinfo) {
  InitBopSourceParameters();
}

std::shared_ptr<KoConfig::IConfig> CCurrentControlConfig::GetSettingsConfig() const {
  LOG_ENTRY(kClassName);
  return mSettings;
}

bool CCurrentControlConfig::IsSinglePhaseSupported() const {
  LOG_ENTRY(kClassName);
  return mPhaseConfig.IsSinglePhaseSupported();
}

bool CCurrentControlConfig::IsThreePhaseSupported() const {
  LOG_ENTRY(kClassName);
  return mPhaseConfig.IsThreePhaseSupported();
}

bool CCurrentControlConfig::IsMultiPhaseAllowed() const {
  LOG_ENTRY(kClassName);
  return mPhaseConfig.IsMultiPhaseAllowed();
}

std::uint8_t CCurrentControlConfig::GetDefaultPhaseCount() const {
  LOG_ENTRY(kClassName);
  return mPhaseConfig.DefaultPhaseCount();
}

std::uint32_t CCurrentControlConfig::GetConfigHardwareLimit() const {
  LOG_ENTRY(kClassName);
  const std::uint32_t limit = mHwinfo->GetUnsigned("HwMaxCurrent", 0);
  if (limit == 0) LOG_WARNING("HwMaxCurrent is set to 0 in hwinfo.json");
  return limit;
}

bool CCurrentControlConfig::IsFixedCable() const {
  LOG_ENTRY(kClassName);
  return !mHwinfo->GetBool("HwHasSocket", true);
}

bool CCurrentControlConfig::HasMeter() const {
  LOG_ENTRY(kClassName);
  return mHwinfo->GetBool(SettingsKeys::kHasMeter, false);
}

std::string CCurrentControlConfig::GetCtType() const {
  LOG_ENTRY(kClassName);
  return mHwinfo->GetString("HwCtType", "VAC4624");
}

std::uint32_t CCurrentControlConfig::GetNumberOfPhases() const {
  LOG_ENTRY(kClassName);
  return mHwinfo->GetUnsigned(SettingsKeys::kOneOrThreePhase, 1);
}

std::vector<std::int32_t> CCurrentControlConfig::GetBopCalIGains() const {
  LOG_ENTRY(kClassName);
  return ReadPerPhase("BopCalIGainA", "BopCalIGainB", "BopCalIGainC");
}

std::vector<std::int32_t> CCurrentControlConfig::GetBopCalIRmsOffsets() const {
  LOG_ENTRY(kClassName);
  return ReadPerPhase("BopCalIRmsOffsetA", "BopCalIRmsOffsetB", "BopCalIRmsOffsetC");
}

std::vector<std::int32_t> CCurrentControlConfig::ReadPerPhase(std::string_view keyA, std::string_view keyB,
                                                              std::string_view keyC) const {
  std::vector<std::int32_t> values{mHwinfo->GetSigned(keyA, 0)};
  if (GetNumberOfPhases() == 3) {
    values.push_back(mHwinfo->GetSigned(keyB, 0));
    values.push_back(mHwinfo->GetSigned(keyC, 0));
  }
  return values;
}

bool CCurrentControlConfig::HasRs485() const {
  LOG_ENTRY(kClassName);
  return mHwinfo->GetBool("HwHasRs485", false);
}

bool CCurrentControlConfig::HasRs485AutoDirection() const {
  LOG_ENTRY(kClassName);
  return mHwinfo->GetBool("HwRs485AutoDirection", false);
}

bool CCurrentControlConfig::HasCtConnector() const {
  LOG_ENTRY(kClassName);
  return mHwinfo->GetBool("HwHasBop", false);
}

bool CCurrentControlConfig::HasDigitalInputs() const {
  LOG_ENTRY(kClassName);
  return mHwinfo->GetBool("HwHasDigitalInputs", false);
}

std::uint32_t CCurrentControlConfig::GetConfigInstallationLimit() const {
  LOG_ENTRY(kClassName);
  const std::uint32_t limit = mSettings->GetUnsigned("CurrentCtrlFixedChargeCurrentLimit", 0);
  if (limit == 0) LOG_WARNING("CurrentCtrlFixedChargeCurrentLimit is set to 0 in settings.json");
  return limit;
}

std::uint32_t CCurrentControlConfig::GetConnectedPhases() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetUnsigned(SettingsKeys::kConnectedPhases, 0);
}

bool CCurrentControlConfig::GetGroupLoadBalancingEnable() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetBool(SettingsKeys::kGroupLoadBalancingEnable, false);
}

bool CCurrentControlConfig::GetBopEnable() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetBool("CurrentCtrlBopEnable", false);
}

std::uint32_t CCurrentControlConfig::GetFuseLimit() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetUnsigned(kFuseRatingKey, 0);
}

std::uint32_t CCurrentControlConfig::GetBopFuseRating() const {
  LOG_ENTRY(kClassName);
  return ToMilliAmpere(mSettings->GetUnsigned(kFuseRatingKey, 0));
}

std::string CCurrentControlConfig::GetBopSource() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetString(SettingsKeys::kBopSource, SettingsKeys::kCurrentTransformers);
}

std::string CCurrentControlConfig::GetBopCtType() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetString("CurrentCtrlBopCtType", "None");
}

bool CCurrentControlConfig::IsBopCtDetectionEnabled() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetBool("BopCtDetectionEnable", true);
}

std::uint32_t CCurrentControlConfig::GetBopCtDetectionTreshold() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetUnsigned("BopCtDetectionTreshold", 100);
}

std::uint32_t CCurrentControlConfig::GetBopFallbackCurrent() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetUnsigned("BopFallbackCurrent", 6000);
}

std::uint32_t CCurrentControlConfig::GetBopCtDetectionReportInterval() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetUnsigned("BopCtDetectionReportInterval", 30);
}

std::string CCurrentControlConfig::GetHomeWizardAddress() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetString(SettingsKeys::kBopHomeWizardAddress, "");
}

std::uint16_t CCurrentControlConfig::GetHomeWizardAddressPort() const {
  LOG_ENTRY(kClassName);
  return static_cast<std::uint16_t>(mSettings->GetUnsigned("BopHomeWizardAddressPort", 80));
}

bool CCurrentControlConfig::IsUserDefinedHouseholdPowerLimitEnabled() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetBool(SettingsKeys::kHouseholdPowerLimitEnable, false);
}

bool CCurrentControlConfig::IsUserDefinedHouseholdPowerLimitAllowed() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetBool("UserDefinedHouseholdPowerLimitAllowed", false);
}

std::uint32_t CCurrentControlConfig::GetUserDefinedHouseholdPowerLimit() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetUnsigned("UserDefinedHouseholdPowerLimit", 20000);
}

bool CCurrentControlConfig::PhaseImbalanceEnabled() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetBool(SettingsKeys::kPhaseImbalanceEnable, false);
}

std::uint32_t CCurrentControlConfig::GetPhaseImbalanceLimitCurrent() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetUnsigned(SettingsKeys::kPhaseImbalanceLimit, 20);
}

bool CCurrentControlConfig::IsOverUnderVoltageDetectionEnabled() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetBool("CurrentCtrlOverUnderVoltageDetectionEnable", false);
}

std::uint32_t CCurrentControlConfig::GetOverVoltageLimit() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetUnsigned("CurrentCtrlOverVoltageLimit", 253);
}

std::uint32_t CCurrentControlConfig::GetUnderVoltageLimit() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetUnsigned("CurrentCtrlUnderVoltageLimit", 207);
}

bool CCurrentControlConfig::GetLocalSmartChargingAllowed() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetBool("LocalSmartChargingAllowed", false);
}

bool CCurrentControlConfig::GetSolarChargingAllowed() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetBool("SolarChargingAllowed", false);
}

bool CCurrentControlConfig::GetSolarChargingEnable() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetBool("SolarChargingEnable", false);
}

std::string CCurrentControlConfig::GetSolarPhaseSwitchingMode() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetString("SolarChargingPhaseSwitchingMode", "Automatic");
}

const SSolarStrategy& CCurrentControlConfig::GetSolarStrategy() const {
  LOG_ENTRY(kClassName);
  static std::atomic<bool> unknownModeTold{false};
  const std::string mode = mSettings->GetString("SolarChargingMode", kDefaultSolarMode);
  if (const auto* strategy = FindSolarStrategy(mode)) return *strategy;
  if (mode == kAdvancedSolarMode) return ReadAdvancedSolarStrategy(*mSettings);
  if (!unknownModeTold.exchange(true)) {
    LOG_WARNING("Unknown solar charging mode '{}' in config, defaulting to '{}'", Text::InOneLine(mode),
                kDefaultSolarMode);
  }
  return *FindSolarStrategy(kDefaultSolarMode);
}

bool CCurrentControlConfig::IsUserDefinedChargeLimitCurrentAllowed() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetBool("UserDefinedChargeLimitCurrentAllowed", false);
}

std::uint32_t CCurrentControlConfig::GetUserDefinedChargeLimitCurrent() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetUnsigned(kUserDefinedChargeLimitCurrentKey, 32);
}

bool CCurrentControlConfig::GetPowerLimitInputEnable() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetBool("PowerLimitInputEnable", false);
}

bool CCurrentControlConfig::GetPowerLimitInputDi1Inverse() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetBool("PowerLimitInputDi1Inverse", false);
}

bool CCurrentControlConfig::GetPowerLimitInputDi2Inverse() const {
  LOG_ENTRY(kClassName);
  return mSettings->GetBool("PowerLimitInputDi2Inverse", false);
}

std::uint32_t CCurrentControlConfig::GetPowerLimitInputDi1LimitMilliAmpere() const {
  LOG_ENTRY(kClassName);
  return ToMilliAmpere(mSettings->GetUnsigned("PowerLimitInputDi1Limit", 6));
}

std::uint32_t CCurrentControlConfig::GetPowerLimitInputDi2LimitMilliAmpere() const {
  LOG_ENTRY(kClassName);
  return ToMilliAmpere(mSettings->GetUnsigned("PowerLimitInputDi2Limit", 0));
}
