#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <json/forwards.h>

#include "platform/koconfig/koconfig.h"
#include "src/components/phaseconfig.h"
#include "src/components/solarstrategy.h"

/// The one typed access to the station's settings ("settings.json") and hardware description ("hwinfo.json").
///
/// Every getter reads its key anew, so that a changed setting holds from its next use, and gives a built-in
/// default when the key is absent. Products that would not fit their type are clamped to its maximum.
/// Any thread.
class CCurrentControlConfig {
 public:
  static constexpr std::string_view kUserDefinedChargeLimitCurrentKey = "UserDefinedChargeLimitCurrent";

  /// Moves a meter address that an older version stored to where it belongs now.
  CCurrentControlConfig(std::shared_ptr<KoConfig::IConfig> settings,
                        std::shared_ptr<KoConfig::IReadOnlyConfig> hwinfo);

  std::shared_ptr<KoConfig::IConfig> GetSettingsConfig() const;

  // Phases on which the station can charge, see `CPhaseConfig`.
  bool IsSinglePhaseSupported() const;
  bool IsThreePhaseSupported() const;
  bool IsMultiPhaseAllowed() const;
  std::uint8_t GetDefaultPhaseCount() const;  ///< 1 or 3

  // Hardware description
  std::uint32_t GetConfigHardwareLimit() const;  ///< A; 0 when missing, with a warning
  bool IsFixedCable() const;
  bool HasMeter() const;
  std::string GetCtType() const;
  std::uint32_t GetNumberOfPhases() const;  ///< as it stands in the file
  /// One for each phase of the station.
  std::vector<std::int32_t> GetBopCalIGains() const;
  std::vector<std::int32_t> GetBopCalIRmsOffsets() const;
  bool HasRs485() const;
  bool HasRs485AutoDirection() const;  ///< the line switches between sending and receiving by itself
  bool HasCtConnector() const;
  bool HasDigitalInputs() const;

  // Installation
  std::uint32_t GetConfigInstallationLimit() const;  ///< A; 0 when missing, with a warning
  std::uint32_t GetConnectedPhases() const;          ///< mask of the wired phases, see `CPhaseConfig`
  bool GetGroupLoadBalancingEnable() const;

  // Blackout protection
  bool GetBopEnable() const;
  std::uint32_t GetFuseLimit() const;      ///< A
  std::uint32_t GetBopFuseRating() const;  ///< mA
  std::string GetBopSource() const;
  std::string GetBopCtType() const;
  bool IsBopCtDetectionEnabled() const;
  std::uint32_t GetBopCtDetectionTreshold() const;
  std::uint32_t GetBopFallbackCurrent() const;  ///< mA
  std::uint32_t GetBopCtDetectionReportInterval() const;
  std::string GetHomeWizardAddress() const;        ///< where older versions stored it
  std::uint16_t GetHomeWizardAddressPort() const;  ///< the low 16 bits of the setting, not clamped

  // Household power limit
  bool IsUserDefinedHouseholdPowerLimitEnabled() const;
  bool IsUserDefinedHouseholdPowerLimitAllowed() const;
  std::uint32_t GetUserDefinedHouseholdPowerLimit() const;

  // Phase imbalance, over- and undervoltage
  bool PhaseImbalanceEnabled() const;
  std::uint32_t GetPhaseImbalanceLimitCurrent() const;  ///< A
  bool IsOverUnderVoltageDetectionEnabled() const;
  std::uint32_t GetOverVoltageLimit() const;   ///< V
  std::uint32_t GetUnderVoltageLimit() const;  ///< V

  // Smart and solar charging
  bool GetLocalSmartChargingAllowed() const;
  bool GetSolarChargingAllowed() const;
  bool GetSolarChargingEnable() const;
  std::string GetSolarPhaseSwitchingMode() const;
  /// The strategy of the mode that is set; an unknown mode is warned of once. The reference is the calling
  /// thread's own, valid until its next call or its end.
  const SSolarStrategy& GetSolarStrategy() const;

  // The user's own limit
  bool IsUserDefinedChargeLimitCurrentAllowed() const;
  std::uint32_t GetUserDefinedChargeLimitCurrent() const;  ///< A

  // Power-limit input
  bool GetPowerLimitInputEnable() const;
  bool GetPowerLimitInputDi1Inverse() const;
  bool GetPowerLimitInputDi2Inverse() const;
  std::uint32_t GetPowerLimitInputDi1LimitMilliAmpere() const;
  std::uint32_t GetPowerLimitInputDi2LimitMilliAmpere() const;

  // Meters. A source is a type of meter, its parameters a JSON object: stored text that is none is an error
  // line and gives an empty object. A source that was never set is derived from that of an older feature and
  // stored; empty when there is none to derive it from.
  Json::Value GetBopSourceParameters() const;
  std::string GetSolarChargingSource();
  Json::Value GetSolarChargingSourceParameters();
  std::string GetUserDefinedHouseholdPowerLimitSource();
  Json::Value GetUserDefinedHouseholdPowerLimitSourceParameters();
  void SetBopSourceParameters(const Json::Value& params);
  void SetSolarChargingSourceParameters(const Json::Value& params);
  void SetUserDefinedHouseholdPowerLimitSourceParameters(const Json::Value& params);
  void SetBopHomeWizardAddress(const std::string& address);

  /// Whether a source is a meter that can be reached over a network or a serial line, and over TCP if its
  /// type says so. The station's own current transformers are none.
  bool IsValidPowerSource(std::string_view type, const Json::Value& params) const;

  // Migration of older settings. The first two return the source that they stored, empty when it was none.
  std::string UpdateSourceConfig(const std::string& source, std::string_view fromKey, std::string_view toKey,
                                 std::string_view toParametersKey);
  std::string UpdateHouseholdPowerLimitSourceConfig();
  void UpdateBopHomewizardParameters();
  void InitBopSourceParameters();

 private:
  std::vector<std::int32_t> ReadPerPhase(std::string_view keyA, std::string_view keyB,
                                         std::string_view keyC) const;
  Json::Value ParametersOf(std::string_view source, std::string_view key, const std::string& text) const;
  void WriteParameters(std::string_view key, const Json::Value& params);

  const std::shared_ptr<KoConfig::IConfig> mSettings;
  const std::shared_ptr<KoConfig::IReadOnlyConfig> mHwinfo;
  const CPhaseConfig mPhaseConfig;
};
