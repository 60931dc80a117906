#pragma once

#include <string_view>

/// Keys and values of the settings and the hardware description that more than one file names.
namespace SettingsKeys {

inline constexpr std::string_view kBopSource = "BopSource";
inline constexpr std::string_view kBopHomeWizardAddress = "BopHomeWizardAddress";
inline constexpr std::string_view kHouseholdPowerLimitEnable = "UserDefinedHouseholdPowerLimitEnable";
/// In the hardware description.
inline constexpr std::string_view kOneOrThreePhase = "HwOneOrThreePhase";

/// The source that is no meter: the station's own current transformers.
inline constexpr std::string_view kCurrentTransformers = "ct";

}  // namespace SettingsKeys
