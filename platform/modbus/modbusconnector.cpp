#include "platform/modbus/modbusconnector.h"

#include "platform/modbus/modbusrtuclient.h"
#include "platform/modbus/modbustcpclient.h"
#include "platform/worker/worker.h"

CModbusConnector::CModbusConnector(IScheduler& scheduler)
    : mWatch(std::make_shared<CWorker>(scheduler, "ModbusWatch")) {}
CModbusConnector::~CModbusConnector() = default;

std::unique_ptr<IModbusClient> CModbusConnector::CreateTcpClient(const SModbusTcpServer& server) {
  mWatch->Start();
  return std::make_unique<CModbusTcpClient>(server, mWatch);
}

std::unique_ptr<IModbusClient> CModbusConnector::CreateRtuClient(const SModbusRtuLine& line) {
  CMutexLock lock(mMutex);
  auto& known = mLines[line.device];
  auto shared = known.lock();
  if (!shared) known = shared = std::make_shared<CModbusRtuLine>();
  return std::make_unique<CModbusRtuClient>(std::move(shared), line);
}
