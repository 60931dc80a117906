#include "platform/modbus/modbusrtuclient.h"

#include <cerrno>
#include <utility>

CModbusRtuClient::CModbusRtuClient(std::shared_ptr<CModbusRtuLine> line, SModbusRtuLine settings)
    : mLine(std::move(line)), mSettings(std::move(settings)) {}

CModbusRtuClient::~CModbusRtuClient() {
  Disconnect();
}

SModbusResult CModbusRtuClient::Connect() {
  if (mHasJoined) return {};
  SModbusResult result = mLine->Join(mSettings);
  mHasJoined = static_cast<bool>(result);
  return result;
}

void CModbusRtuClient::Disconnect() {
  if (std::exchange(mHasJoined, false)) mLine->Leave();
}

SModbusResult CModbusRtuClient::Read(EModbusTable table, std::uint8_t unit, std::uint16_t address,
                                     std::span<std::uint16_t> registers) {
  if (!mHasJoined) return ModbusError::Lost("reading", ENOTCONN);
  SModbusResult result = mLine->Read(table, unit, address, registers);
  if (result.kind == SModbusResult::EKind::Lost) Disconnect();
  return result;
}
