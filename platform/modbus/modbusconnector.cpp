#include "platform/modbus/modbusconnector.h"

#include "platform/modbus/modbusrtuclient.h"
#include "platform/modbus/modbustcpclient.h"

CModbusConnector::CModbusConnector() = default;
CModbusConnector::~CModbusConnector() = default;

std::unique_ptr<IModbusClient> CModbusConnector::CreateTcpClient(const SModbusTcpServer& server) {
  return std::make_unique<CModbusTcpClient>(server);
}

std::unique_ptr<IModbusClient> CModbusConnector::CreateRtuClient(const SModbusRtuLine& line) {
  CMutexLock lock(mMutex);
  auto& known = mLines[line.device];
  auto shared = known.lock();
  if (!shared) known = shared = std::make_shared<CModbusRtuLine>();
  return std::make_unique<CModbusRtuClient>(std::move(shared), line);
}
