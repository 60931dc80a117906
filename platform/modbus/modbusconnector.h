#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/modbus/modbusclient.h"
#include "platform/utility/mutex.h"

class CModbusRtuLine;
class CWorker;

/// Makes the clients that really connect.
class CModbusConnector final : public IModbusConnector {
 public:
  /// The scheduler outlives the clients.
  explicit CModbusConnector(IScheduler& scheduler);
  ~CModbusConnector() override;

  std::unique_ptr<IModbusClient> CreateTcpClient(const SModbusTcpServer& server) override;
  std::unique_ptr<IModbusClient> CreateRtuClient(const SModbusRtuLine& line) override;

 private:
  const std::shared_ptr<CWorker> mWatch;  // of all TCP clients

  CMutex mMutex;
  /// By device.
  std::map<std::string, std::weak_ptr<CModbusRtuLine>> mLines GUARDED_BY(mMutex);
};
