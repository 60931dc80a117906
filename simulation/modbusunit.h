#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "platform/utility/mutex.h"
#include "simulation/modbusregisters.h"

/// The house's meter as a Modbus unit of a chosen model, however it is reached. Any thread.
class CModbusUnit {
 public:
  /// What the unit answers to a request.
  struct SAnswer {
    std::uint8_t exception = 0;  ///< 0: none, but registers
    std::vector<std::uint16_t> registers;
  };

  static constexpr std::uint8_t kIllegalFunction = 1;
  static constexpr std::uint8_t kIllegalAddress = 2;
  static constexpr std::uint8_t kDeviceFailure = 4;

  /// Both must outlive it. It answers to the model's unit number alone.
  CModbusUnit(CHouseMeter& meter, const SModbusMeterModel& model) : mMeter(meter), mModel(model) {}

  const SModbusMeterModel& Model() const { return mModel; }
  /// From now on it answers to whatever number, as meters with a network socket do.
  void AnswerToAll() { mAnswersToAll = true; }
  /// From now on a register holds this.
  void Overwrite(std::uint16_t address, std::uint16_t word) EXCLUDES(mMutex);
  /// Ends that for all registers.
  void Restore() EXCLUDES(mMutex);

  bool IsAway() const { return mMeter.Fate() == CHouseMeter::EFate::Away; }
  /// `function` is the code on the wire. Nothing: silence. A unit whose answers are damaged has no values, or
  /// fails, in turns.
  std::optional<SAnswer> Read(std::uint8_t unit, std::uint8_t function, std::uint16_t address,
                              std::uint16_t count) EXCLUDES(mMutex);

 private:
  SAnswer Look(std::uint16_t address, std::uint16_t count) EXCLUDES(mMutex);

  CHouseMeter& mMeter;
  const SModbusMeterModel& mModel;
  std::atomic<bool> mAnswersToAll = false;
  std::atomic<bool> mFailsNext = false;
  CMutex mMutex;
  CModbusRegisters mRegisters GUARDED_BY(mMutex);
  std::map<std::uint16_t, std::uint16_t> mOverwritten GUARDED_BY(mMutex);
};
