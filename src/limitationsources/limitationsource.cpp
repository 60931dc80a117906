#include "src/limitationsources/limitationsource.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>

#include "platform/utility/text.h"

namespace {

constexpr std::string_view kUnknownSource = "Unknown source";

/// A, for sources whose measurements never stand still.
constexpr float kMeasuredThreshold = 0.25F;
/// A, for sources that are regulated finely.
constexpr float kFineThreshold = 0.1F;

using enum ESetter;
constexpr SLimitationSource kSources[] = {
    {ipc::ECurrentControlThermal, "ECurrentControlThermal", "High temperature", kMeasuredThreshold,
     Component},
    {ipc::ECurrentControlConfigurationLimit, "ECurrentControlConfigurationLimit", "Installation limit", 0.0F,
     Client},
    {ipc::ECurrentControlBop, "ECurrentControlBop", "Dynamic load balancing", kMeasuredThreshold, Component},
    {ipc::ECurrentControlLoadBal, "ECurrentControlLoadBal", "Group load balancing", 0.0F, Component},
    {ipc::ECurrentControlUserCable, "ECurrentControlUserCable", "Charging cable", 0.0F, Component},
    {ipc::ECurrentControlOvercurrentProtection, "ECurrentControlOvercurrentProtection",
     "Overcurrent protection", 0.0F, Component},
    {ipc::ECurrentControlHardwareLimit, "ECurrentControlHardwareLimit", "Hardware limitation", 0.0F,
     Component},
    {ipc::ECurrentControlPowerFactor, "ECurrentControlPowerFactor", "Power factor", 0.0F, Component},
    {ipc::ECurrentControlOcppSmartCharging, "ECurrentControlOcppSmartCharging", "OCPP smart charging", 0.0F,
     Client},
    {ipc::ECurrentControlVDEPhaseImbalance, "ECurrentControlVDEPhaseImbalance", "Phase imbalance",
     kMeasuredThreshold, Hidden},
    {ipc::ECurrentControlLocalScheduledCharging, "ECurrentControlLocalScheduledCharging",
     "Local scheduled charging", 0.0F, Client},
    {ipc::ECurrentControlSolarCharging, "ECurrentControlSolarCharging", "Solar charging", 0.0F, Component},
    {ipc::ECurrentControlUserLimitCurrent, "ECurrentControlUserLimitCurrent", "Current limiter", 0.0F,
     Client},
    {ipc::ECurrentControlLocalRestApi, "ECurrentControlLocalRestApi", "Local REST API", 0.0F, Client},
    {ipc::ECurrentControlLocalModbusApi, "ECurrentControlLocalModbusApi", "Local Modbus API", 0.0F, Client},
    {ipc::ECurrentControlPowerLimitInput, "ECurrentControlPowerLimitInput", "External power limit", 0.0F,
     Hidden},
    {ipc::ECurrentControlHouseholdPowerLimit, "ECurrentControlHouseholdPowerLimit", "Household power limit",
     kMeasuredThreshold, Hidden},
    {ipc::ECurrentControlSystemBalancer, "ECurrentControlSystemBalancer", "System current balancer",
     kFineThreshold, Hidden},
    {ipc::ECurrentControlInternalPowerLimiter, "ECurrentControlInternalPowerLimiter", "Internal power limit",
     kFineThreshold, Hidden},
    {ipc::ECurrentControlDynamicTariffCharging, "ECurrentControlDynamicTariffCharging",
     "Dynamic tariff charging", 0.0F, Client},
};

constexpr std::int64_t kFirstValue = kSources[0].value;

constexpr bool IsIndexedByValue() {
  std::int64_t expected = kFirstValue;
  return std::ranges::all_of(kSources, [&](const auto& source) { return source.value == expected++; });
}
static_assert(IsIndexedByValue());

const SLimitationSource* Find(ipc::ECurrentControlSource source) {
  const std::int64_t index = std::int64_t{source} - kFirstValue;
  if (index < 0 || index >= std::int64_t{std::size(kSources)}) return nullptr;
  return &kSources[static_cast<std::size_t>(index)];
}

bool EqualsInAnyCase(std::string_view left, std::string_view right) {
  return std::ranges::equal(left, right, {}, Text::LowerCaseLetter, Text::LowerCaseLetter);
}

}  // namespace

std::span<const SLimitationSource> LimitationSources() {
  return kSources;
}

std::string_view SourceToString(ipc::ECurrentControlSource source) {
  const auto* found = Find(source);
  return found ? found->enumerator : kUnknownSource;
}

std::optional<std::string_view> FindDisplayName(std::string_view enumerator) {
  const auto* found = std::ranges::find(kSources, enumerator, &SLimitationSource::enumerator);
  if (found == std::end(kSources)) return std::nullopt;
  return found->displayName;
}

std::optional<float> FindChangeThreshold(ipc::ECurrentControlSource source) {
  if (source == ipc::ECurrentControlNone) return kMeasuredThreshold;
  const auto* found = Find(source);
  if (!found) return std::nullopt;
  return found->changeThreshold;
}

ESetter SetterOf(ipc::ECurrentControlSource source) {
  if (source == ipc::ECurrentControlNone) return ESetter::Client;
  const auto* found = Find(source);
  return found ? found->setter : ESetter::Hidden;
}

std::optional<ipc::ECurrentControlSource> ParseSource(std::string_view text) {
  std::int32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc() && end == text.data() + text.size()) {
    return static_cast<ipc::ECurrentControlSource>(number);
  }
  const auto* found = std::ranges::find_if(kSources, [&](const auto& source) {
    return EqualsInAnyCase(text, source.enumerator) || EqualsInAnyCase(text, source.displayName);
  });
  if (found == std::end(kSources)) return std::nullopt;
  return found->value;
}
