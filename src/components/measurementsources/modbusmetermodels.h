#pragma once

#include <cstdint>
#include <string_view>

/// How a Modbus meter is reached. The codes are bits, so that one number holds the kinds that a model has.
enum class EModbusConnectionKind : std::uint8_t { Tcp = 1, Rtu = 2 };

/// A meter whose registers are known.
struct SModbusMeterModel {
  std::string_view name;         ///< lower case, as the settings give it under "type"
  std::uint8_t connectionKinds;  ///< codes of EModbusConnectionKind, added up

  constexpr bool Has(EModbusConnectionKind kind) const {
    return (connectionKinds & static_cast<std::uint8_t>(kind)) != 0;
  }
};

/// Null: no such model.
const SModbusMeterModel* FindModbusMeterModel(std::string_view lowerCaseName);
