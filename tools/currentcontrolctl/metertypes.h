#pragma once

#include <span>
#include <string>
#include <string_view>

#include <json/value.h>

/// A type of meter as an installer chooses it.
struct SMeterType {
  std::string_view name;  ///< as the settings have it
  std::string_view help;
  std::string_view parameters;  ///< an example
  /// The station's hardware on the way to it, which only one process can use; empty: none.
  std::string_view exclusiveWay;
};

std::span<const SMeterType> MeterTypes();

/// In upper or lower case; null when there is none.
const SMeterType* FindMeterType(std::string_view name);

/// All of them and the known Modbus meters, for people and for programs.
std::string MeterTypesText();
Json::Value MeterTypesJson();
