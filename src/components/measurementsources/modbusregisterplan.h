#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "src/components/measurementsources/modbusmetermodels.h"

/// In which requests a meter's registers are read: as few as it allows, none of them ending inside a value.
class CModbusRegisterPlan {
 public:
  struct SBlock {
    std::uint16_t address;
    std::uint16_t count;
  };

  /// For the first phases of those that the map has.
  CModbusRegisterPlan(const SModbusMap& map, std::uint8_t phases);

  std::span<const SBlock> Blocks() const { return mBlocks; }
  /// In all blocks.
  std::size_t Registers() const;
  /// Where a planned register stands when the blocks' registers follow each other.
  std::size_t OffsetOf(std::uint16_t address) const;

 private:
  std::vector<SBlock> mBlocks;
};
