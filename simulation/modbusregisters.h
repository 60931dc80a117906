#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "simulation/housemeter.h"
#include "src/components/measurementsources/modbusmetermodels.h"

/// Registers that a meter has, by their addresses on the wire. Quick to write again and again. One thread.
class CModbusRegisters {
 public:
  void Set(std::uint16_t address, std::uint16_t word) { mWords[address] = word; }
  /// Nothing: there is no such register.
  std::optional<std::uint16_t> At(std::uint16_t address) const {
    const std::uint32_t word = mWords[address];
    return word == kNone ? std::nullopt : std::optional(static_cast<std::uint16_t>(word));
  }

 private:
  static constexpr std::uint32_t kNone = 0x10000;

  std::vector<std::uint32_t> mWords = std::vector<std::uint32_t>(0x10000, kNone);
};

/// Writes what a meter of this model holds of a view, always to the same registers. A SunSpec meter has its
/// list at 40000.
void WriteModbusRegisters(const SModbusMeterModel& model, const CHouseMeter::SView& view,
                          CModbusRegisters& registers);
