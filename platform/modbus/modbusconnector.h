#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/modbus/modbusclient.h"
#include "platform/utility/mutex.h"

class CModbusRtuLine;

/// Makes the clients that really connect.
class CModbusConnector final : public IModbusConnector {
 public:
  CModbusConnector();
  ~CModbusConnector() override;

  std::unique_ptr<IModbusClient> CreateTcpClient(const SModbusTcpServer& server) override;
  std::unique_ptr<IModbusClient> CreateRtuClient(const SModbusRtuLine& line) override;

 private:
  CMutex mMutex;
  /// By device.
  std::map<std::string, std::weak_ptr<CModbusRtuLine>> mLines GUARDED_BY(mMutex);
};
