#pragma once

#include <cstdint>
#include <functional>

#include "ipc/adac.service.h"
#include "ipc/netm.service.h"
#include "ipc/safetymcucomm.service.h"

/// Where a temperature was measured, by the numbers that the thermal limit knows its sources by.
enum class EThermalSource : std::uint8_t {
  EarthLeakageDetector1 = 0,
  EarthLeakageDetector2 = 1,
  Relay1 = 2,
  Relay2 = 3,
  NetM = 4,
  Adac = 5
};
inline constexpr std::uint8_t kThermalSources = 6;

/// Takes one temperature in °C. Called on threads of the RPC framework.
using TemperatureHandler = std::function<void(EThermalSource source, float celsius)>;

/// Hand every temperature that the peer notifies to the handler, for as long as the subscription lives.
[[nodiscard]] Rpc::Subscription LinkTemperatures(ipc::CAdacClient& peer, TemperatureHandler handler);
[[nodiscard]] Rpc::Subscription LinkTemperatures(ipc::CNetMClient& peer, TemperatureHandler handler);
/// Hands over what is present of up to four temperatures, in ascending order of source.
[[nodiscard]] Rpc::Subscription LinkTemperatures(ipc::CSafetyMcuCommClient& peer, TemperatureHandler handler);
