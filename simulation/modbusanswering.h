#pragma once

#include "simulation/modbusunit.h"

struct _modbus;  // libmodbus' own name of what it calls modbus_t

/// Receives one request through a libmodbus context, which must be there to be read, and answers as the unit
/// does. False: the peer is gone, or speaks no Modbus.
bool AnswerModbusRequest(_modbus* context, CModbusUnit& unit);
