#pragma once

#include <cstdint>
#include <map>

#include "simulation/housemeter.h"
#include "src/components/measurementsources/modbusmetermodels.h"

/// Registers that a meter has, by their addresses on the wire.
using ModbusRegisters = std::map<std::uint16_t, std::uint16_t>;

/// What a meter of this model holds of a view. A SunSpec meter has its list at 40000.
ModbusRegisters ModbusRegistersOf(const SModbusMeterModel& model, const CHouseMeter::SView& view);
