#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <json/value.h>

#include "platform/http/httpclient.h"

/// What HomeWizard devices answer, whatever was asked. It comes from anybody on the network.
namespace HomeWizardAnswer {

inline constexpr std::string_view kApiIsOff =
    "the owner has to switch on \"Local API\" in the HomeWizard app, for this meter";

/// Turns an answer into a JSON object. Why there is none; empty: there is one. Stricter than for settings:
/// nothing may be there twice.
std::string ToObject(const SHttpAnswer& answer, Json::Value& object);

/// What a device tells of itself; empty where it tells nothing, or nothing that could be it.
struct SDevice {
  std::string serial;  ///< in lower case
  std::string productType;
};
SDevice ToDevice(const Json::Value& object);

/// A serial number or type of product: letters, digits, "-" and "_", 40 of them at most. Else empty.
std::string ToName(std::string_view text);

/// Whether devices of this type measure at the house connection: the type is of meters; of something else;
/// not known here.
enum class EMeasures : std::uint8_t { House, Other, Unknown };
EMeasures Measures(std::string_view productType);
/// Among those that measure at the house connection, the one for smart meters.
inline constexpr std::string_view kP1Meter = "HWE-P1";

}  // namespace HomeWizardAnswer
