#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "platform/modbus/modbusclient.h"

struct _modbus;  // libmodbus' own name of what it calls modbus_t

/// A libmodbus context: what all ways to units have in common. One thread at a time.
class CModbusContext {
 public:
  /// The longest silence inside an answer, after which there is nothing more of it: enough for a serial line,
  /// where characters follow one another.
  static constexpr Milliseconds kByteTimeout{100};

  /// Owns what libmodbus has created; null when it has not, and errno says why.
  explicit CModbusContext(_modbus* context, Milliseconds byteTimeout = kByteTimeout);
  ~CModbusContext();
  CModbusContext(const CModbusContext&) = delete;
  CModbusContext& operator=(const CModbusContext&) = delete;

  /// Waits as long at most.
  SModbusResult Connect(Milliseconds longest);
  /// Waits for an answer's first byte as long as `kResponseTimeout`, and then for each as long as the byte
  /// time-out: somebody else must bound the whole where peers may trickle.
  SModbusResult Read(EModbusTable table, std::uint8_t unit, std::uint16_t address,
                     std::span<std::uint16_t> registers);
  /// Null when there is none.
  _modbus* Get() const { return mContext; }

 private:
  _modbus* const mContext;
  const int mCreationError;
};

namespace ModbusError {

/// The text of an error of libmodbus or of the system.
SModbusResult Lost(std::string_view operation, int error);
SModbusResult NoAnswer();

}  // namespace ModbusError
