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

using namespace SettingsKeys;
constexpr std::array kPowerSources = {kHomeWizard, kP1Extender, kModbusTcp, kModbusRtu};

constexpr auto kAddress = "address";

}  // namespace

Json::Value CCurrentControlConfig::GetBopSourceParameters() const {
  LOG_ENTRY(kClassName);
  const std::string text = mSettings->GetString(kBopSourceParameters, "");
  if (Text::ToLowerCase(GetBopSource()) == kCurrentTransformers) {
    Json::Value params(Json::objectValue);
    params["type"] = GetBopCtType();
    return params;
  }
  return SourceParameters::Parse(kBopSourceParameters, text);
}

std::string CCurrentControlConfig::GetSolarChargingSource() {
  LOG_ENTRY(kClassName);
  std::string source = mSettings->GetString(kSolarSource, "");
  if (!source.empty()) return source;
  return UpdateSourceConfig(GetBopSource(), kBopSource, kSolarSource, kSolarSourceParameters);
}

Json::Value CCurrentControlConfig::GetSolarChargingSourceParameters() {
  LOG_ENTRY(kClassName);
  // The text first: parameters that the source's migration stores count from the next call on.
  const std::string text = mSettings->GetString(kSolarSourceParameters, "");
  return ParametersOf(GetSolarChargingSource(), kSolarSourceParameters, text);
}

std::string CCurrentControlConfig::GetUserDefinedHouseholdPowerLimitSource() {
  LOG_ENTRY(kClassName);
  std::string source = mSettings->GetString(kHouseholdSource, "");
  if (!source.empty()) return source;
  return UpdateHouseholdPowerLimitSourceConfig();
}

Json::Value CCurrentControlConfig::GetUserDefinedHouseholdPowerLimitSourceParameters() {
  LOG_ENTRY(kClassName);
  const std::string text = mSettings->GetString(kHouseholdSourceParameters, "");
  return ParametersOf(GetUserDefinedHouseholdPowerLimitSource(), kHouseholdSourceParameters, text);
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
  WriteParameters(kBopSourceParameters, params);
}

void CCurrentControlConfig::SetSolarChargingSourceParameters(const Json::Value& params) {
  LOG_ENTRY_AT(Log::ELogLevel::Debug, kClassName);
  WriteParameters(kSolarSourceParameters, params);
}

void CCurrentControlConfig::SetUserDefinedHouseholdPowerLimitSourceParameters(const Json::Value& params) {
  LOG_ENTRY_AT(Log::ELogLevel::Debug, kClassName);
  WriteParameters(kHouseholdSourceParameters, params);
}

void CCurrentControlConfig::WriteParameters(std::string_view key, const Json::Value& params) {
  const std::string text = JsonText::ToLine(params);
  mSettings->SetString(key, text);
  LOG_DEBUG("{} is set to :{}", key, text);
}

void CCurrentControlConfig::SetBopHomeWizardAddress(const std::string& address) {
  LOG_ENTRY_AT(Log::ELogLevel::Debug, kClassName);
  mSettings->SetString(kBopHomeWizardAddress, address);
  LOG_DEBUG("{} is set to :{}", kBopHomeWizardAddress, Text::InOneLine(address));
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
      fromKey == kSolarSource ? GetSolarChargingSourceParameters() : GetBopSourceParameters();
  if (!IsValidPowerSource(source, params)) return {};
  mSettings->SetString(toKey, source);
  mSettings->SetString(toParametersKey, JsonText::ToLine(params));
  return source;
}

std::string CCurrentControlConfig::UpdateHouseholdPowerLimitSourceConfig() {
  LOG_ENTRY_AT(Log::ELogLevel::Debug, kClassName);
  std::string source = UpdateSourceConfig(GetSolarChargingSource(), kSolarSource, kHouseholdSource,
                                          kHouseholdSourceParameters);
  if (source.empty()) {
    source = UpdateSourceConfig(GetBopSource(), kBopSource, kHouseholdSource, kHouseholdSourceParameters);
  }
  if (!source.empty()) mSettings->SetBool(kHouseholdPowerLimitEnable, true);
  return source;
}

void CCurrentControlConfig::UpdateBopHomewizardParameters() {
  LOG_ENTRY_AT(Log::ELogLevel::Debug, kClassName);
  if (GetBopSource() != kHomeWizard) return;
  Json::Value params(Json::objectValue);
  // Text that is broken may still be mended by hand: it is not written over.
  if (!SourceParameters::TryParse(kBopSourceParameters, mSettings->GetString(kBopSourceParameters, ""),
                                  params))
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
