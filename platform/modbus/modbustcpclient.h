#pragma once

#include <memory>

#include "platform/modbus/modbuscontext.h"

/// Modbus units behind a TCP server; names and IPv6 addresses too.
class CModbusTcpClient final : public IModbusClient {
 public:
  explicit CModbusTcpClient(SModbusTcpServer server);

  SModbusResult Connect() override;
  void Disconnect() override;
  SModbusResult Read(EModbusTable table, std::uint8_t unit, std::uint16_t address,
                     std::span<std::uint16_t> registers) override;

 private:
  const SModbusTcpServer mServer;
  std::unique_ptr<CModbusContext> mContext;  // null: not connected
};
