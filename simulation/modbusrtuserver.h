#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include "simulation/linkedpty.h"
#include "simulation/modbusunit.h"

struct _modbus;  // libmodbus' own name of what it calls modbus_t

/// The house's meter as a Modbus unit on a serial line that programs can open, on a thread of its own. While
/// the meter is away there is no such line.
class CModbusRtuServer {
 public:
  /// The unit must outlive it. A link of that name leads to the line; whoever opens that must leave the
  /// switching of its direction to it.
  CModbusRtuServer(CModbusUnit& unit, std::filesystem::path link);
  ~CModbusRtuServer();
  CModbusRtuServer(const CModbusRtuServer&) = delete;
  CModbusRtuServer& operator=(const CModbusRtuServer&) = delete;

  /// False, and an error line, when the line cannot be made.
  bool Start();
  void Stop();
  const std::filesystem::path& Path() const { return mLink; }

 private:
  bool Open();
  void Run();

  CModbusUnit& mUnit;
  const std::filesystem::path mLink;
  const std::unique_ptr<_modbus, void (*)(_modbus*)> mContext;
  CLinkedPty mLine;
  std::string mFailure;  // as last told
  std::atomic<bool> mEnds = false;
  std::thread mThread;
};
