// The meter sources of CCurrentControlConfig and their migration from older settings.
#include <algorithm>
#include <array>

#include <json/value.h>

#include "platform/log/log.h"
#include "platform/utility/jsontext.h"
#include "platform/utility/text.h"
#include "src/components/currentcontrolconfig.h"
#include "src/components/measurementsources/modbusmetermodels.h"
#include "src/components/settingskeys.h"
#include "src/components/sourceparameters.h"

namespace {

constexpr auto kClassName = "CCurrentControlConfig";

constexpr std::string_view kBopParametersKey = "BopSourceParameters";
constexpr std::string_view kSolarSourceKey = "SolarChargingSource";
constexpr std::string_view kSolarParametersKey = "SolarChargingSourceParameters";
constexpr std::string_view kHouseholdSourceKey = "UserDefinedHouseholdPowerLimitSource";
constexpr std::string_view kHouseholdParametersKey = "UserDefinedHouseholdPowerLimitSourceParameters";

using SettingsKeys::kHomeWizard;
using SettingsKeys::kModbusTcp;
constexpr std::array kPowerSources = {kHomeWizard, SettingsKeys::kP1Extender, kModbusTcp,
                                      SettingsKeys::kModbusRtu};

constexpr auto kAddress = "address";

}  // namespace

Json::Value CCurrentControlConfig::GetBopSourceParameters() const {
  LOG_ENTRY(kClassName);
  const std::string text = mSettings->GetString(kBopParametersKey, "");
  if (Text::ToLowerCase(GetBopSource()) == SettingsKeys::kCurrentTransformers) {
    Json::Value params(Json::objectValue);
    params["type"] = GetBopCtType();
    return params;
  }
  return SourceParameters::Parse(kBopParametersKey, text);
}

std::string CCurrentControlConfig::GetSolarChargingSource() {
  LOG_ENTRY(kClassName);
  std::string source = mSettings->GetString(kSolarSourceKey, "");
  if (!source.empty()) return source;
  return UpdateSourceConfig(GetBopSource(), SettingsKeys::kBopSource, kSolarSourceKey, kSolarParametersKey);
}

Json::Value CCurrentControlConfig::GetSolarChargingSourceParameters() {
  LOG_ENTRY(kClassName);
  // The text first: parameters that the source's migration stores count from the next call on.
  const std::string text = mSettings->GetString(kSolarParametersKey, "");
  return ParametersOf(GetSolarChargingSource(), kSolarParametersKey, text);
}

std::string CCurrentControlConfig::GetUserDefinedHouseholdPowerLimitSource() {
  LOG_ENTRY(kClassName);
  std::string source = mSettings->GetString(kHouseholdSourceKey, "");
  if (!source.empty()) return source;
  return UpdateHouseholdPowerLimitSourceConfig();
}

Json::Value CCurrentControlConfig::GetUserDefinedHouseholdPowerLimitSourceParameters() {
  LOG_ENTRY(kClassName);
  const std::string text = mSettings->GetString(kHouseholdParametersKey, "");
  return ParametersOf(GetUserDefinedHouseholdPowerLimitSource(), kHouseholdParametersKey, text);
}

Json::Value CCurrentControlConfig::ParametersOf(std::string_view source, std::string_view key,
                                                const std::string& text) const {
  if (source == kHomeWizard && (text.empty() || text == "{}")) {
    Json::Value params(Json::objectValue);
    params[kAddress] = "";
    return params;
  }
  return SourceParameters::Parse(key, text);
}

void CCurrentControlConfig::SetBopSourceParameters(const Json::Value& params) {
  LOG_ENTRY_AT(Log::ELogLevel::Debug, kClassName);
  WriteParameters(kBopParametersKey, params);
}

void CCurrentControlConfig::SetSolarChargingSourceParameters(const Json::Value& params) {
  LOG_ENTRY_AT(Log::ELogLevel::Debug, kClassName);
  WriteParameters(kSolarParametersKey, params);
}

void CCurrentControlConfig::SetUserDefinedHouseholdPowerLimitSourceParameters(const Json::Value& params) {
  LOG_ENTRY_AT(Log::ELogLevel::Debug, kClassName);
  WriteParameters(kHouseholdParametersKey, params);
}

void CCurrentControlConfig::WriteParameters(std::string_view key, const Json::Value& params) {
  const std::string text = JsonText::ToLine(params);
  mSettings->SetString(key, text);
  LOG_DEBUG("{} is set to :{}", key, text);
}

void CCurrentControlConfig::SetBopHomeWizardAddress(const std::string& address) {
  LOG_ENTRY_AT(Log::ELogLevel::Debug, kClassName);
  mSettings->SetString(SettingsKeys::kBopHomeWizardAddress, address);
  LOG_DEBUG("{} is set to :{}", SettingsKeys::kBopHomeWizardAddress, Text::InOneLine(address));
}

bool CCurrentControlConfig::IsValidPowerSource(std::string_view type, const Json::Value& params) const {
  LOG_ENTRY(kClassName);
  if (type == kModbusTcp) {
    const auto* model = FindModbusMeterModel(SourceParameters::LowerCaseTextOf(params, "type"));
    return model != nullptr && model->Has(EModbusConnectionKind::Tcp);
  }
  return std::ranges::find(kPowerSources, type) != kPowerSources.end();
}

std::string CCurrentControlConfig::UpdateSourceConfig(const std::string& source, std::string_view fromKey,
                                                      std::string_view toKey,
                                                      std::string_view toParametersKey) {
  LOG_ENTRY_AT(Log::ELogLevel::Debug, kClassName);
  const Json::Value params =
      fromKey == kSolarSourceKey ? GetSolarChargingSourceParameters() : GetBopSourceParameters();
  if (!IsValidPowerSource(source, params)) return {};
  mSettings->SetString(toKey, source);
  mSettings->SetString(toParametersKey, JsonText::ToLine(params));
  return source;
}

std::string CCurrentControlConfig::UpdateHouseholdPowerLimitSourceConfig() {
  LOG_ENTRY_AT(Log::ELogLevel::Debug, kClassName);
  std::string source = UpdateSourceConfig(GetSolarChargingSource(), kSolarSourceKey, kHouseholdSourceKey,
                                          kHouseholdParametersKey);
  if (source.empty()) {
    source = UpdateSourceConfig(GetBopSource(), SettingsKeys::kBopSource, kHouseholdSourceKey,
                                kHouseholdParametersKey);
  }
  if (!source.empty()) mSettings->SetBool(SettingsKeys::kHouseholdPowerLimitEnable, true);
  return source;
}

void CCurrentControlConfig::UpdateBopHomewizardParameters() {
  LOG_ENTRY_AT(Log::ELogLevel::Debug, kClassName);
  if (GetBopSource() != kHomeWizard) return;
  Json::Value params(Json::objectValue);
  // Text that is broken may still be mended by hand: it is not written over.
  if (!SourceParameters::TryParse(kBopParametersKey, mSettings->GetString(kBopParametersKey, ""), params))
    return;
  const std::string legacy = GetHomeWizardAddress();
  if (!SourceParameters::TextOf(params, kAddress).empty() || legacy.empty()) return;
  params[kAddress] = legacy;
  SetBopSourceParameters(params);
  SetBopHomeWizardAddress("");
}

void CCurrentControlConfig::InitBopSourceParameters() {
  LOG_ENTRY_AT(Log::ELogLevel::Debug, kClassName);
  UpdateBopHomewizardParameters();
}
