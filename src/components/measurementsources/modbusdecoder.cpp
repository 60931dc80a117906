#include "src/components/measurementsources/modbusdecoder.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include <fmt/format.h>

namespace {

// What a meter may tell of a phase at all.
constexpr double kLeastVolt = 100;  // or none at all
constexpr double kMostVolt = 999;
constexpr double kMostAmpere = 1000;
constexpr double kMostWatt = kMostVolt * kMostAmpere;
// And before it is known that its registers are read rightly.
constexpr double kLeastUsualVolt = 150;
constexpr double kMostUsualVolt = 300;
/// Power is at most voltage times current. Something may be switched on between their readings, which is seen
/// the next time; a meter may not yet see currents whose power it tells.
constexpr double kMostPowerFactor = 1.5;
constexpr double kPowerLeewayWatt = 250;
constexpr int kMostPowerOfTen = 10;
constexpr double kMilliAmperePerAmpere = 1000;

bool IsAnyPresent(const std::array<std::optional<double>, 3>& values) {
  return std::ranges::any_of(values, [](const auto& value) { return value.has_value(); });
}

std::string Missing(std::string_view quantity, std::size_t phase) {
  return fmt::format("no {} on L{}{}", quantity, phase + 1,
                     phase == 0 ? "" : "; \"phases\": 1 is for L1 alone");
}

/// To one digit: a reason that reads the same each time is told once.
std::string Implausible(double value, std::string_view quantity) {
  const double unit = value == 0 ? 1 : std::pow(10, std::floor(std::log10(std::abs(value))));
  return fmt::format("about {:g} {} cannot be: the \"type\" may be wrong", std::round(value / unit) * unit,
                     quantity);
}

std::int32_t Rounded(double value) {
  return static_cast<std::int32_t>(std::lround(value));
}

}  // namespace

CModbusDecoder::CModbusDecoder(const SModbusMap& map, std::uint8_t phases, bool isInverted)
    : mMap(map), mPhases(phases), mSign(isInverted ? -1 : 1), mPlan(map, phases) {}

CModbusDecoder::Answer CModbusDecoder::Decode(std::span<const std::uint16_t> registers,
                                              EScrutiny scrutiny) const {
  const SValues values = Values(registers);
  if (std::string fault = WhatIsMissing(values); !fault.empty()) return fault;
  if (std::string fault = WhatIsImplausible(values, scrutiny); !fault.empty()) return fault;
  return Reading(values);
}

CModbusDecoder::SValues CModbusDecoder::Values(std::span<const std::uint16_t> registers) const {
  SValues values;
  for (std::uint8_t phase = 0; phase < mPhases; ++phase) {
    if (mMap.voltage) values.voltage[phase] = Value(registers, *mMap.voltage, phase);
    if (mMap.current) values.current[phase] = Value(registers, *mMap.current, phase);
    if (mMap.power) values.power[phase] = Value(registers, *mMap.power, phase);
  }
  if (mMap.totalPower) values.totalPower = Value(registers, *mMap.totalPower, 0);
  return values;
}

std::optional<double> CModbusDecoder::Value(std::span<const std::uint16_t> registers,
                                            const SModbusQuantity& quantity, std::uint8_t phase) const {
  const auto at = [this, registers](std::uint32_t address, EModbusType type) {
    const std::size_t offset = mPlan.OffsetOf(static_cast<std::uint16_t>(address));
    return ModbusValues::Decode(type, registers.subspan(offset, RegistersOf(type)));
  };
  auto value = at(quantity.address + std::uint32_t{quantity.toNextPhase} * phase, quantity.type);
  if (!value) return std::nullopt;
  *value *= quantity.scale;
  if (!quantity.powerOfTen) return value;
  const auto exponent = at(*quantity.powerOfTen, EModbusType::Signed16);
  if (!exponent || std::abs(*exponent) > kMostPowerOfTen) return std::nullopt;
  return *value * std::pow(10, *exponent);
}

std::string CModbusDecoder::WhatIsMissing(const SValues& values) const {
  // A meter that has a total too need not have the power of each phase, but it has all of them or none.
  const bool needsPower = mMap.power && (!mMap.totalPower || IsAnyPresent(values.power));
  for (std::size_t phase = 0; phase < mPhases; ++phase) {
    if (mMap.voltage && !values.voltage[phase]) return Missing("voltage", phase);
    if (mMap.current && !values.current[phase]) return Missing("current", phase);
    if (needsPower && !values.power[phase]) return Missing("power", phase);
  }
  return needsPower || values.totalPower ? "" : "no total power";
}

std::string CModbusDecoder::WhatIsImplausible(const SValues& values, EScrutiny scrutiny) const {
  const bool isStrict = scrutiny == EScrutiny::Strict;
  bool hasVoltage = !mMap.voltage;
  for (std::size_t phase = 0; phase < mPhases; ++phase) {
    const auto on = [phase](std::string_view quantity) {
      return fmt::format("{} on L{}", quantity, phase + 1);
    };
    const double volt = values.voltage[phase].value_or(0);
    const double ampere = std::abs(values.current[phase].value_or(0));
    const double watt = values.power[phase].value_or(0);
    const auto isWithin = [volt](double least, double most) { return volt >= least && volt <= most; };
    const bool isBelieved =
        isStrict ? isWithin(kLeastUsualVolt, kMostUsualVolt) : isWithin(kLeastVolt, kMostVolt);
    if (volt != 0 && !isBelieved) return Implausible(volt, on("V"));
    if (ampere >= kMostAmpere) return Implausible(ampere, on("A"));
    if (std::abs(watt) >= kMostWatt) return Implausible(watt, on("W"));
    const bool isMade = std::abs(watt) <= kMostPowerFactor * volt * ampere + kPowerLeewayWatt;
    if (isStrict && mMap.voltage && mMap.current && !isMade)
      return Implausible(watt, on("W") + ", with its voltage and current,");
    hasVoltage = hasVoltage || volt > 0;
  }
  if (!hasVoltage) return "no phase has a voltage: the \"type\" may be wrong";
  const double total = values.totalPower.value_or(0);
  return std::abs(total) < kMostWatt * static_cast<double>(mPhases) ? "" : Implausible(total, "W in total");
}

SMeterReading CModbusDecoder::Reading(const SValues& values) const {
  SMeterReading reading;
  if (mMap.voltage) reading.voltage.emplace();
  if (mMap.current) reading.current.emplace();
  const bool hasPower = IsAnyPresent(values.power);
  double total = hasPower ? 0 : mSign * values.totalPower.value_or(0);
  // Without power of its own a phase of several counts as one that draws, which can only limit too much.
  const double watt = mPhases == 1 ? total : 0;
  for (std::size_t phase = 0; phase < mPhases; ++phase) {
    const double ofPhase = hasPower ? mSign * *values.power[phase] : watt;
    if (hasPower) total += ofPhase;
    if (reading.voltage) (*reading.voltage)[phase] = Rounded(*values.voltage[phase]);
    if (!reading.current) continue;
    const double milliAmpere = std::abs(*values.current[phase]) * kMilliAmperePerAmpere;
    (*reading.current)[phase] = Rounded(ofPhase < 0 ? -milliAmpere : milliAmpere);
  }
  reading.activePower = ThreePhaseValue{Rounded(total), 0, 0};
  return reading;
}
