#pragma once

#include <cstdint>
#include <optional>
#include <span>

/// How a meter's registers hold a value. The high word comes first unless the name says otherwise.
enum class EModbusType : std::uint8_t {
  Float32,
  Unsigned32,
  Signed32,
  Signed32LowWordFirst,
  ImportExport32,  ///< what is drawn and then what is fed in, each as Unsigned32: one of them is 0
  Signed16
};

constexpr std::uint16_t RegistersOf(EModbusType type) {
  if (type == EModbusType::Signed16) return 1;
  return type == EModbusType::ImportExport32 ? 4 : 2;
}

namespace ModbusValues {

/// What the registers hold, of which there are `RegistersOf(type)`. Nothing: not a number, or what meters
/// send for a value that they do not have.
std::optional<double> Decode(EModbusType type, std::span<const std::uint16_t> registers);

}  // namespace ModbusValues
