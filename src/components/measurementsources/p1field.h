#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// What telegrams of a smart meter's P1 port speak of.
namespace P1 {

/// Units that a value can have.
enum class EUnit : std::uint8_t {
  None,
  MJ,
  GJ,
  Dm3,
  M3,
  MilliAmpere,
  Ampere,
  MilliVolt,
  Volt,
  Watt,
  KiloWatt
};
inline constexpr std::array<std::string_view, 11> kUnits{"",  "MJ", "GJ", "dm3", "m3", "mA",
                                                         "A", "mV", "V",  "W",   "kW"};
constexpr std::string_view ToText(EUnit unit) {
  return kUnits[static_cast<std::size_t>(unit)];
}

/// A-B:C.D.E.F; a group that is not written is 255.
using ObisId = std::array<std::uint8_t, 6>;
inline constexpr std::uint8_t kNotWritten = 255;

/// The names of everything that a telegram may carry: whatever is parsed is shown under one of them.
inline constexpr std::array<std::string_view, 51> kFieldNames{"identification",
                                                              "p1_version",
                                                              "timestamp",
                                                              "energy_delivered_tariff1",
                                                              "energy_delivered_tariff2",
                                                              "energy_returned_tariff1",
                                                              "energy_returned_tariff2",
                                                              "electricity_tariff",
                                                              "power_delivered",
                                                              "power_returned",
                                                              "electricity_threshold",
                                                              "electricity_switch_position",
                                                              "electricity_failures",
                                                              "electricity_long_failures",
                                                              "electricity_failure_log",
                                                              "electricity_sags_l1",
                                                              "electricity_sags_l2",
                                                              "electricity_sags_l3",
                                                              "electricity_swells_l1",
                                                              "electricity_swells_l2",
                                                              "electricity_swells_l3",
                                                              "message_short",
                                                              "message_long",
                                                              "voltage_l1",
                                                              "voltage_l2",
                                                              "voltage_l3",
                                                              "current_l1",
                                                              "current_l2",
                                                              "current_l3",
                                                              "power_delivered_l1",
                                                              "power_delivered_l2",
                                                              "power_delivered_l3",
                                                              "power_returned_l1",
                                                              "power_returned_l2",
                                                              "power_returned_l3",
                                                              "gas_device_type",
                                                              "gas_equipment_id",
                                                              "gas_valve_position",
                                                              "gas_delivered",
                                                              "thermal_device_type",
                                                              "thermal_equipment_id",
                                                              "thermal_valve_position",
                                                              "thermal_delivered",
                                                              "water_device_type",
                                                              "water_equipment_id",
                                                              "water_valve_position",
                                                              "water_delivered",
                                                              "slave_device_type",
                                                              "slave_equipment_id",
                                                              "slave_valve_position",
                                                              "slave_delivered"};

/// The ones of them that are parsed, in the order in which they are shown.
enum class EField : std::uint8_t {
  Version,
  PowerDeliveredL1,
  PowerDeliveredL2,
  PowerDeliveredL3,
  PowerReturnedL1,
  PowerReturnedL2,
  PowerReturnedL3,
  CurrentL1,
  CurrentL2,
  CurrentL3,
  VoltageL1,
  VoltageL2,
  VoltageL3,
  PowerDelivered,
  PowerReturned
};
inline constexpr std::size_t kFieldCount = 15;

/// The field of the phase, from 0, where `ofL1` is that of the first.
constexpr EField OfPhase(EField ofL1, std::size_t phase) {
  return static_cast<EField>(static_cast<std::size_t>(ofL1) + phase);
}

/// A field without unit is a text, one with unit a number with up to 3 decimals.
struct SField {
  std::string_view name;
  ObisId id;
  EUnit unit;
};

constexpr ObisId Electricity(std::uint8_t quantity) {
  return {1, 0, quantity, 7, 0, kNotWritten};
}

inline constexpr std::array<SField, kFieldCount> kFields{{
    {"p1_version", {1, 3, 0, 2, 8, kNotWritten}, EUnit::None},
    {"power_delivered_l1", Electricity(21), EUnit::KiloWatt},
    {"power_delivered_l2", Electricity(41), EUnit::KiloWatt},
    {"power_delivered_l3", Electricity(61), EUnit::KiloWatt},
    {"power_returned_l1", Electricity(22), EUnit::KiloWatt},
    {"power_returned_l2", Electricity(42), EUnit::KiloWatt},
    {"power_returned_l3", Electricity(62), EUnit::KiloWatt},
    {"current_l1", Electricity(31), EUnit::Ampere},
    {"current_l2", Electricity(51), EUnit::Ampere},
    {"current_l3", Electricity(71), EUnit::Ampere},
    {"voltage_l1", Electricity(32), EUnit::Volt},
    {"voltage_l2", Electricity(52), EUnit::Volt},
    {"voltage_l3", Electricity(72), EUnit::Volt},
    {"power_delivered", Electricity(1), EUnit::KiloWatt},
    {"power_returned", Electricity(2), EUnit::KiloWatt},
}};
static_assert(std::ranges::all_of(kFields, [](const SField& field) {
  return std::ranges::find(kFieldNames, field.name) != kFieldNames.end();
}));

}  // namespace P1
