#include "src/components/measurementsources/homewizardreading.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>

#include <fmt/format.h>

#include "platform/utility/jsontext.h"

namespace HomeWizardReading {

namespace {

struct SRange {
  double least;
  double most;
};
/// Whatever is beyond is no house.
constexpr SRange kWatt{-1e6, 1e6};
constexpr SRange kAmpere{-5000, 5000};
constexpr SRange kVolt{0, 1000};

/// For a current from a power where the meter measures no voltage, or one that cannot be.
constexpr double kNominalVolt = 230;
constexpr double kLeastUsableVolt = 100;
constexpr double kMilliAmperePerAmpere = 1000;

class CBadField : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

std::int32_t Rounded(double value) {
  return static_cast<std::int32_t>(std::lround(value));
}

std::optional<double> Field(const Json::Value& data, const std::string& name, const SRange& range) {
  const Json::Value& field = data[name];
  if (field.isNull()) return std::nullopt;
  if (!field.isNumeric()) throw CBadField(fmt::format("\"{}\" is no number", name));
  const double value = field.asDouble();
  if (value >= range.least && value <= range.most) return value;
  // Roughly, so that a value that flickers is one reason, not many.
  throw CBadField(fmt::format("\"{}\" is about {:.1g}, which is not within {} to {}", name, value,
                              range.least, range.most));
}

struct SPhase {
  std::optional<double> watt;
  std::optional<double> ampere;
  std::optional<double> volt;

  bool IsEmpty() const { return !watt && !ampere && !volt; }
};
using Phases = std::array<SPhase, 3>;

/// Some meters tell the current's real part too; a fuse feels all of it.
std::optional<double> Current(const Json::Value& data, const std::string& phase) {
  const auto whole = Field(data, fmt::format("active_apparent_current{}_a", phase), kAmpere);
  const auto real = Field(data, fmt::format("active_current{}_a", phase), kAmpere);
  return whole ? whole : real;
}

Phases PhasesOf(const Json::Value& data) {
  Phases phases;
  for (std::size_t index = 0; index < phases.size(); ++index) {
    const std::string phase = fmt::format("_l{}", index + 1);
    phases[index] = {.watt = Field(data, fmt::format("active_power{}_w", phase), kWatt),
                     .ampere = Current(data, phase),
                     .volt = Field(data, fmt::format("active_voltage{}_v", phase), kVolt)};
  }
  return phases;
}

/// Meters for a single phase do not number it. Elsewhere the current without a number is of all phases.
void TakeSinglePhase(const Json::Value& data, Phases& phases) {
  const auto ampere = Current(data, "");
  const auto volt = Field(data, "active_voltage_v", kVolt);
  if (!phases[1].IsEmpty() || !phases[2].IsEmpty()) return;
  if (!volt && !phases[0].watt) return;
  if (!phases[0].ampere) phases[0].ampere = ampere;
  if (!phases[0].volt) phases[0].volt = volt;
}

std::optional<std::int32_t> MilliAmpere(const SPhase& phase) {
  if (!phase.ampere && !phase.watt) return std::nullopt;
  const double volt = phase.volt && *phase.volt >= kLeastUsableVolt ? *phase.volt : kNominalVolt;
  const double most = std::max(std::abs(phase.ampere.value_or(0)), std::abs(phase.watt.value_or(0)) / volt);
  const bool feedsIn = (phase.watt ? *phase.watt : *phase.ampere) < 0;
  return Rounded((feedsIn ? -most : most) * kMilliAmperePerAmpere);
}

std::optional<double> TotalWatt(const Json::Value& data, const Phases& phases) {
  auto total = Field(data, "active_power_w", kWatt);
  if (total) return total;
  for (const SPhase& phase : phases) {
    if (phase.watt) total = total.value_or(0) + *phase.watt;
  }
  return total;
}

SMeterReading ReadingOf(const Json::Value& data) {
  Phases phases = PhasesOf(data);
  TakeSinglePhase(data, phases);
  SMeterReading reading;
  reading.current = OfEachPhase([&phases](std::size_t phase) { return MilliAmpere(phases[phase]); });
  reading.voltage = OfEachPhase([&phases](std::size_t phase) {
    const auto volt = phases[phase].volt;
    return volt ? std::optional(Rounded(*volt)) : std::nullopt;
  });
  if (const auto watt = TotalWatt(data, phases)) reading.activePower = {Rounded(*watt), 0, 0};
  if (reading == SMeterReading{}) throw CBadField("no \"active_\" field with a power, current or voltage");
  return reading;
}

}  // namespace

std::variant<SMeterReading, std::string> From(const Json::Value& data) {
  try {
    return ReadingOf(data);
  } catch (const CBadField& fault) {
    return fault.what();
  }
}

Json::Value Measured(Json::Value data) {
  for (const auto* own : {"wifi_ssid", "wifi_strength"}) data.removeMember(own);
  return data;
}

}  // namespace HomeWizardReading
