#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "platform/modbus/modbuscontext.h"
#include "platform/utility/mutex.h"

/// A serial line with Modbus units on it, shared by all who talk to one of them. The device is open while
/// somebody uses the line, and opened again when it was lost meanwhile. Any thread.
class CModbusRtuLine {
 public:
  /// The first user's settings count as long as there are users.
  SModbusResult Join(const SModbusRtuLine& settings);
  void Leave();
  /// One at a time, with the silence between them that the protocol wants. Only for users.
  SModbusResult Read(EModbusTable table, std::uint8_t unit, std::uint16_t address,
                     std::span<std::uint16_t> registers);

 private:
  SModbusResult Open() REQUIRES(mMutex);
  void WaitForSilence() const REQUIRES(mMutex);

  CMutex mMutex;
  SModbusRtuLine mSettings GUARDED_BY(mMutex);
  std::uint32_t mUsers GUARDED_BY(mMutex) = 0;
  std::unique_ptr<CModbusContext> mContext GUARDED_BY(mMutex);  // null: not open
  TimePoint mLastHeard GUARDED_BY(mMutex);
};
