#pragma once

#include <cstdint>
#include <memory>

#include "platform/modbus/modbusclient.h"
#include "simulation/modbusunit.h"

/// The way to a modelled unit where there is no network and no line: for virtual time. Whatever server or
/// device is asked for, the unit is there. Nothing takes time. One thread.
class CSimulatedModbus final : public IModbusConnector {
 public:
  struct SCount {
    std::uint32_t connections = 0;  ///< attempts
    std::uint32_t requests = 0;
  };

  /// The unit must outlive it.
  explicit CSimulatedModbus(CModbusUnit& unit) : mUnit(unit) {}

  std::unique_ptr<IModbusClient> CreateTcpClient(const SModbusTcpServer& server) override;
  std::unique_ptr<IModbusClient> CreateRtuClient(const SModbusRtuLine& line) override;

  const SCount& Count() const { return *mCount; }
  /// The next answer is cut short.
  void CutNext() { *mCutsNext = true; }

 private:
  CModbusUnit& mUnit;
  const std::shared_ptr<SCount> mCount = std::make_shared<SCount>();
  const std::shared_ptr<bool> mCutsNext = std::make_shared<bool>(false);
};
