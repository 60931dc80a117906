#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include <json/forwards.h>

#include "src/components/measurementsources/modbusmetermodels.h"

/// What the settings say of a Modbus meter, with the model's defaults filled in.
struct SModbusMeterParameters {
  const SModbusMeterModel* model = nullptr;
  EModbusConnectionKind kind = EModbusConnectionKind::Tcp;
  SModbusTcpServer server;  ///< of the kind Tcp
  SModbusRtuLine line;      ///< of the kind Rtu
  std::uint8_t unit = 1;
  bool isInverted = false;  ///< its power is positive where it is fed in
  std::optional<std::uint8_t> phases;

  /// The meter as log lines name it.
  std::string Label() const;
};

namespace ModbusMeterParameters {

/// Members have any case; their values are text or numbers, and an empty text or null is as if not there. A
/// device other than the default line's is taken to switch its direction by itself. Answers what is wrong
/// when something is. Never throws.
std::variant<SModbusMeterParameters, std::string> Parse(EModbusConnectionKind kind, const Json::Value& params,
                                                        const SModbusRtuLine& defaultLine);

}  // namespace ModbusMeterParameters
