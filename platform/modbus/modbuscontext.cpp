#include "platform/modbus/modbuscontext.h"

#include <cerrno>

#include <fmt/format.h>
#include <modbus/modbus.h>

namespace {

constexpr std::int64_t kMicrosecondsPerMillisecond = 1000;

using Setter = int (*)(modbus_t*, std::uint32_t, std::uint32_t);

bool SetTimeout(Setter set, modbus_t* context, Milliseconds timeout) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(timeout);
  const auto rest = (timeout - seconds).count() * kMicrosecondsPerMillisecond;
  return set(context, static_cast<std::uint32_t>(seconds.count()), static_cast<std::uint32_t>(rest)) == 0;
}

bool IsException(int error) {
  // The last one: a code that the protocol does not know.
  return (error >= EMBXILFUN && error <= EMBXGTAR) || error == EMBBADEXC || error == EMBUNKEXC;
}

SModbusResult ReadFailure(int error) {
  if (IsException(error)) return {SModbusResult::EKind::Refused, modbus_strerror(error)};
  if (error == ETIMEDOUT) return ModbusError::NoAnswer();
  return ModbusError::Lost("reading", error);
}

}  // namespace

SModbusResult ModbusError::Lost(std::string_view operation, int error) {
  return {SModbusResult::EKind::Lost, fmt::format("{}: {}", operation, modbus_strerror(error))};
}

SModbusResult ModbusError::NoAnswer() {
  return {SModbusResult::EKind::Lost,
          fmt::format("no whole answer within {} ms", IModbusClient::kResponseTimeout.count())};
}

CModbusContext::CModbusContext(_modbus* context, Milliseconds byteTimeout)
    : mContext(context), mCreationError(context == nullptr ? errno : 0) {
  if (mContext == nullptr) return;
  // Without one libmodbus leans on select() to write back how much time is left, which few systems do.
  SetTimeout(modbus_set_byte_timeout, mContext, byteTimeout);
}

CModbusContext::~CModbusContext() {
  if (mContext == nullptr) return;
  modbus_close(mContext);
  modbus_free(mContext);
}

SModbusResult CModbusContext::Connect(Milliseconds longest) {
  if (mContext == nullptr) return ModbusError::Lost("connecting", mCreationError);
  if (!SetTimeout(modbus_set_response_timeout, mContext, longest) || modbus_connect(mContext) != 0) {
    const int error = errno;
    // Where libmodbus leaves the waiting for a connection, when its time is over.
    return ModbusError::Lost("connecting", error == EINPROGRESS ? ETIMEDOUT : error);
  }
  SetTimeout(modbus_set_response_timeout, mContext, IModbusClient::kResponseTimeout);
  return {};
}

SModbusResult CModbusContext::Read(EModbusTable table, std::uint8_t unit, std::uint16_t address,
                                   std::span<std::uint16_t> registers) {
  if (registers.empty() || registers.size() > IModbusClient::kMostRegisters)
    return {SModbusResult::EKind::Refused, fmt::format("{} registers in one request", registers.size())};
  if (modbus_set_slave(mContext, unit) != 0) return ModbusError::Lost("choosing the unit", errno);
  const auto read = table == EModbusTable::Holding ? modbus_read_registers : modbus_read_input_registers;
  if (read(mContext, address, static_cast<int>(registers.size()), registers.data()) < 0)
    return ReadFailure(errno);
  return {};
}
