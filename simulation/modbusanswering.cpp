#include "simulation/modbusanswering.h"

#include <algorithm>
#include <array>
#include <memory>

#include <modbus/modbus.h>

namespace {

using Mapping = std::unique_ptr<modbus_mapping_t, void (*)(modbus_mapping_t*)>;

constexpr std::uint8_t kIllegalValue = 3;

std::uint16_t WordAt(const std::uint8_t* bytes) {
  return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

bool Send(modbus_t* context, const std::uint8_t* request, int length, std::uint16_t address,
          const std::vector<std::uint16_t>& registers) {
  const auto count = static_cast<unsigned>(registers.size());
  const Mapping mapping(modbus_mapping_new_start_address(0, 0, 0, 0, address, count, address, count),
                        modbus_mapping_free);
  if (!mapping) return false;
  std::ranges::copy(registers, mapping->tab_registers);
  std::ranges::copy(registers, mapping->tab_input_registers);
  return modbus_reply(context, request, length, mapping.get()) >= 0;
}

}  // namespace

bool AnswerModbusRequest(_modbus* context, CModbusUnit& unit) {
  std::array<std::uint8_t, MODBUS_TCP_MAX_ADU_LENGTH> request{};
  const int length = modbus_receive(context, request.data());
  if (length <= 0) return length == 0;  // 0: for another unit
  const std::uint8_t* const function = request.data() + modbus_get_header_length(context);
  const std::uint16_t address = WordAt(function + 1);
  const std::uint16_t count = WordAt(function + 3);
  const bool isCountGood = count >= 1 && count <= MODBUS_MAX_READ_REGISTERS;
  const auto answer = unit.Read(function[-1], function[0], address, isCountGood ? count : 1);
  if (!answer) return true;
  const std::uint8_t exception = answer->exception == 0 && !isCountGood ? kIllegalValue : answer->exception;
  if (exception != 0) return modbus_reply_exception(context, request.data(), exception) >= 0;
  return Send(context, request.data(), length, address, answer->registers);
}
