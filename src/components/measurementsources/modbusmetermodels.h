#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "platform/modbus/modbusclient.h"
#include "src/components/measurementsources/modbusvalues.h"

/// How a Modbus meter is reached. The codes are bits, so that one number holds the kinds that a model has.
enum class EModbusConnectionKind : std::uint8_t { Tcp = 1, Rtu = 2 };

/// Where a meter has a quantity.
struct SModbusQuantity {
  EModbusType type;
  std::uint16_t address;                         ///< on the wire, of L1
  std::uint16_t toNextPhase;                     ///< registers
  double scale = 1;                              ///< to V, A, W
  std::optional<std::uint16_t> powerOfTen = {};  ///< where an exponent stands that scales too
};

/// Registers from the first to the last.
struct SModbusRange {
  std::uint16_t first;
  std::uint16_t last;
};

/// What a meter measures, and the registers where it has that. Power is positive where it is drawn.
struct SModbusMap {
  EModbusTable table = EModbusTable::Holding;
  std::uint8_t phases = 3;
  std::uint16_t mostRegisters = IModbusClient::kMostRegisters;  ///< in one request
  std::optional<SModbusQuantity> voltage = {};
  std::optional<SModbusQuantity> current = {};  ///< its sign does not count
  std::optional<SModbusQuantity> power = {};
  /// Of a meter that has no power of each phase, or need not have it.
  std::optional<SModbusQuantity> totalPower = {};
  /// Registers that may be read along when they stand between known ones. Meters refuse requests that touch
  /// one which they do not have.
  std::optional<SModbusRange> readAlong = {};
};

/// How a serial line comes from the factory.
struct SModbusSerialDefaults {
  std::uint32_t baud = 9600;
  SModbusRtuLine::EParity parity = SModbusRtuLine::EParity::None;
  std::uint8_t stopBits = 1;
};

/// A meter that tells by a SunSpec list where its registers are, and how it holds its values.
enum class ESunSpec : std::uint8_t { No, Integers, Floats };

/// What a row of the table was taken from less than two good sources, and never seen on such a meter.
enum class EOnTrust : std::uint8_t { Nothing, Serial, Map, MapAndSerial };

/// A meter whose registers are known.
struct SModbusMeterModel {
  std::string_view name;         ///< lower case, as the settings give it under "type"
  std::string_view title;        ///< as its maker calls it
  std::uint8_t connectionKinds;  ///< codes of EModbusConnectionKind, added up
  EOnTrust onTrust = EOnTrust::Nothing;
  std::uint8_t unit = 1;
  SModbusSerialDefaults serial = {};
  ESunSpec sunSpec = ESunSpec::No;  ///< otherwise the map is what the list tells
  SModbusMap map = {};

  constexpr bool Has(EModbusConnectionKind kind) const {
    return (connectionKinds & static_cast<std::uint8_t>(kind)) != 0;
  }
};

/// All of them, in the order of their names.
std::span<const SModbusMeterModel> ModbusMeterModels();

/// Null: no such model.
const SModbusMeterModel* FindModbusMeterModel(std::string_view lowerCaseName);
