#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/utility/filedescriptor.h"
#include "simulation/modbusunit.h"

struct _modbus;  // libmodbus' own name of what it calls modbus_t

/// A Modbus TCP server that is the house's meter, on a thread of its own. While the meter is away nobody
/// listens on its port. Several clients are served in turns.
class CModbusServer {
 public:
  /// The unit must outlive it. Port 0: one that is free.
  explicit CModbusServer(CModbusUnit& unit, std::string address = "127.0.0.1", std::uint16_t port = 0);
  ~CModbusServer();
  CModbusServer(const CModbusServer&) = delete;
  CModbusServer& operator=(const CModbusServer&) = delete;

  /// False, and an error line, when the port cannot be had.
  bool Start();
  void Stop();
  /// The one that is listened on, once started.
  std::uint16_t Port() const { return mPort; }

 private:
  bool Listen();
  void Close();
  void Run();
  void ServeOnce();

  CModbusUnit& mUnit;
  const std::string mAddress;
  std::uint16_t mPort;
  const std::unique_ptr<_modbus, void (*)(_modbus*)> mContext;
  CFileDescriptor mListening;
  std::vector<CFileDescriptor> mClients;
  std::atomic<bool> mEnds = false;
  std::thread mThread;
};
