#pragma once

#include <string_view>

/// Keys and values of the settings and the hardware description that more than one file names.
namespace SettingsKeys {

inline constexpr std::string_view kBopSource = "BopSource";
inline constexpr std::string_view kBopSourceParameters = "BopSourceParameters";
inline constexpr std::string_view kSolarSource = "SolarChargingSource";
inline constexpr std::string_view kSolarSourceParameters = "SolarChargingSourceParameters";
inline constexpr std::string_view kHouseholdSource = "UserDefinedHouseholdPowerLimitSource";
inline constexpr std::string_view kHouseholdSourceParameters =
    "UserDefinedHouseholdPowerLimitSourceParameters";
inline constexpr std::string_view kBopHomeWizardAddress = "BopHomeWizardAddress";
inline constexpr std::string_view kHouseholdPowerLimitEnable = "UserDefinedHouseholdPowerLimitEnable";
inline constexpr std::string_view kConnectedPhases = "ConnectedPhases";
inline constexpr std::string_view kSolarAdvancedCurrentGain = "SolarChargingAdvancedCurrentGain";
inline constexpr std::string_view kGroupLoadBalancingEnable = "GroupLoadBalancingEnable";
inline constexpr std::string_view kPhaseImbalanceEnable = "VDEPhaseImbalanceEnable";
inline constexpr std::string_view kPhaseImbalanceLimit = "VDEPhaseImbalanceLimit";
/// In the hardware description.
inline constexpr std::string_view kHasMeter = "HwHasMeter";
inline constexpr std::string_view kOneOrThreePhase = "HwOneOrThreePhase";
inline constexpr std::string_view kHasPhaseSwitching = "HwHasPhaseSwitching";

/// Types of meters: the station's own current transformers, and those that somebody else made.
inline constexpr std::string_view kCurrentTransformers = "ct";
inline constexpr std::string_view kP1Extender = "p1extender";
inline constexpr std::string_view kHomeWizard = "homewizard";
inline constexpr std::string_view kModbusTcp = "modbustcp";
inline constexpr std::string_view kModbusRtu = "modbusrtu";

}  // namespace SettingsKeys
