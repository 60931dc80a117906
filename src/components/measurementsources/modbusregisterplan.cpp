#include "src/components/measurementsources/modbusregisterplan.h"

#include <algorithm>

namespace {

/// Registers that must be read together; the end is the first that does not belong to them.
struct SPiece {
  std::uint32_t begin;
  std::uint32_t end;
};

void Add(std::vector<SPiece>& pieces, const std::optional<SModbusQuantity>& quantity, std::uint32_t phases) {
  if (!quantity) return;
  for (std::uint32_t phase = 0; phase < phases; ++phase) {
    const std::uint32_t begin = quantity->address + phase * quantity->toNextPhase;
    pieces.push_back({begin, begin + RegistersOf(quantity->type)});
  }
  if (quantity->powerOfTen) pieces.push_back({*quantity->powerOfTen, *quantity->powerOfTen + 1U});
}

std::vector<SPiece> Pieces(const SModbusMap& map, std::uint8_t phases) {
  std::vector<SPiece> pieces;
  Add(pieces, map.voltage, phases);
  Add(pieces, map.current, phases);
  Add(pieces, map.power, phases);
  Add(pieces, map.totalPower, 1);
  std::ranges::sort(pieces, {}, &SPiece::begin);
  return pieces;
}

bool MayBeReadTogether(const SPiece& first, const SPiece& second, const SModbusMap& map) {
  const bool isBridged = second.begin <= first.end || (map.readAlong && first.end >= map.readAlong->first &&
                                                       second.begin <= map.readAlong->last + 1U);
  return isBridged && second.end - first.begin <= map.mostRegisters;
}

}  // namespace

CModbusRegisterPlan::CModbusRegisterPlan(const SModbusMap& map, std::uint8_t phases) {
  std::vector<SPiece> blocks;
  for (const SPiece& piece : Pieces(map, phases)) {
    if (!blocks.empty() && MayBeReadTogether(blocks.back(), piece, map)) {
      blocks.back().end = std::max(blocks.back().end, piece.end);
    } else {
      blocks.push_back(piece);
    }
  }
  for (const SPiece& block : blocks)
    mBlocks.push_back(
        {static_cast<std::uint16_t>(block.begin), static_cast<std::uint16_t>(block.end - block.begin)});
}

std::size_t CModbusRegisterPlan::Registers() const {
  std::size_t count = 0;
  for (const SBlock& block : mBlocks) count += block.count;
  return count;
}

std::size_t CModbusRegisterPlan::OffsetOf(std::uint16_t address) const {
  std::size_t offset = 0;
  for (const SBlock& block : mBlocks) {
    if (address >= block.address && address - block.address < block.count)
      return offset + address - block.address;
    offset += block.count;
  }
  return offset;
}
