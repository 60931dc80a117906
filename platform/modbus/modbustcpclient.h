#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/modbus/hostlookup.h"
#include "platform/modbus/modbuscontext.h"
#include "platform/worker/worker.h"

/// Modbus units behind a TCP server; names and IPv6 addresses too. The address that was good last is tried
/// before the name is looked up again.
class CModbusTcpClient final : public IModbusClient {
 public:
  /// The watch is a started worker that has nothing long to do: it ends answers that take too long.
  CModbusTcpClient(SModbusTcpServer server, std::shared_ptr<CWorker> watch,
                   HostResolver resolve = ResolveHost);

  SModbusResult Connect() override;
  void Disconnect() override;
  SModbusResult Read(EModbusTable table, std::uint8_t unit, std::uint16_t address,
                     std::span<std::uint16_t> registers) override;

 private:
  SModbusResult ConnectToOneOf(const std::vector<std::string>& addresses);

  const SModbusTcpServer mServer;
  const std::shared_ptr<CWorker> mWatch;
  CHostLookUp mLookUp;
  std::string mGoodAddress;                  // empty: none yet
  bool mIsInDoubt = false;                   // it did not connect the last time
  std::unique_ptr<CModbusContext> mContext;  // null: not connected
};
