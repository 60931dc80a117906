#pragma once

#include <memory>

#include "platform/modbus/modbusrtuline.h"

/// Modbus units on a serial line that others may use too.
class CModbusRtuClient final : public IModbusClient {
 public:
  CModbusRtuClient(std::shared_ptr<CModbusRtuLine> line, SModbusRtuLine settings);
  ~CModbusRtuClient() override;

  SModbusResult Connect() override;
  void Disconnect() override;
  SModbusResult Read(EModbusTable table, std::uint8_t unit, std::uint16_t address,
                     std::span<std::uint16_t> registers) override;

 private:
  const std::shared_ptr<CModbusRtuLine> mLine;
  const SModbusRtuLine mSettings;
  bool mHasJoined = false;
};
