#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "platform/modbus/modbusclient.h"
#include "src/components/measurementsources/modbusmetermodels.h"

/// Finds out where a SunSpec meter has its registers: somewhere it has a list of models of data, each with
/// its number and its length in front.
class CSunSpecSearch {
 public:
  /// Longest time for a search; a request that is under way then is not cut short.
  static constexpr Milliseconds kLongest{2000};
  static constexpr std::uint32_t kMostModels = 64;

  /// Of the unit's holding registers.
  using ReadRegisters =
      std::function<SModbusResult(std::uint16_t address, std::span<std::uint16_t> registers)>;

  CSunSpecSearch(const IClock& clock, ReadRegisters read);

  /// The first meter in the list that holds its values like this. Refused: there is none, or no list, or one
  /// that cannot be.
  SModbusResult Find(ESunSpec values, SModbusMap& map);

 private:
  SModbusResult FindList(std::uint32_t& first);
  SModbusResult Walk(std::uint32_t address, ESunSpec values, SModbusMap& map);
  SModbusResult Read(std::uint32_t address, std::span<std::uint16_t> registers);

  const IClock& mClock;
  const ReadRegisters mRead;
  const TimePoint mBegin;
};
