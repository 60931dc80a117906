#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>

#include "src/components/measurementsources/meterreading.h"
#include "src/components/measurementsources/modbusregisterplan.h"

/// Turns what a meter's registers hold into a reading, or into why that is none. A value that is missing
/// never counts as 0.
class CModbusDecoder {
 public:
  /// How far the values are doubted.
  enum class EScrutiny : std::uint8_t {
    Strict,  ///< the first ones: they show whether the registers are what they are taken for
    Loose    ///< later ones: the mains may do what it likes
  };
  using Answer = std::variant<SMeterReading, std::string>;

  /// For the first phases of those that the map has; inverted: power is positive where it is fed in.
  CModbusDecoder(const SModbusMap& map, std::uint8_t phases, bool isInverted);

  const CModbusRegisterPlan& Plan() const { return mPlan; }
  /// The registers of all blocks of the plan, one after the other.
  Answer Decode(std::span<const std::uint16_t> registers, EScrutiny scrutiny) const;

 private:
  using OfPhases = std::array<std::optional<double>, 3>;
  struct SValues {
    OfPhases voltage;
    OfPhases current;
    OfPhases power;
    std::optional<double> totalPower;
  };

  SValues Values(std::span<const std::uint16_t> registers) const;
  std::optional<double> Value(std::span<const std::uint16_t> registers, const SModbusQuantity& quantity,
                              std::uint8_t phase) const;
  std::string WhatIsMissing(const SValues& values) const;
  std::string WhatIsImplausible(const SValues& values, EScrutiny scrutiny) const;
  SMeterReading Reading(const SValues& values) const;

  const SModbusMap mMap;
  const std::uint8_t mPhases;
  const double mSign;
  const CModbusRegisterPlan mPlan;
};
