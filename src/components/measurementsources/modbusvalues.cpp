#include "src/components/measurementsources/modbusvalues.h"

#include <bit>
#include <cmath>

namespace {

constexpr std::uint32_t kAllOnes = 0xffffffff;
constexpr std::uint32_t kMostSigned = 0x7fffffff;
constexpr std::uint32_t kLeastSigned = 0x80000000;
constexpr std::uint16_t kLeastSigned16 = 0x8000;

std::uint32_t Joined(std::uint16_t high, std::uint16_t low) {
  return std::uint32_t{high} << 16 | low;
}

std::optional<double> Float(std::uint32_t bits) {
  static_assert(sizeof(float) == sizeof bits);
  const auto value = std::bit_cast<float>(bits);
  if (!std::isfinite(value)) return std::nullopt;
  return value;
}

std::optional<double> Signed(std::uint32_t bits) {
  if (bits == kMostSigned || bits == kLeastSigned) return std::nullopt;
  return static_cast<std::int32_t>(bits);
}

/// No meter measures half the range: what stands there for "none" in signed values does so in these as well.
std::optional<double> Unsigned(std::uint32_t bits) {
  if (bits == kAllOnes || bits == kMostSigned || bits == kLeastSigned) return std::nullopt;
  return bits;
}

std::optional<double> Signed16(std::uint16_t bits) {
  if (bits == kLeastSigned16) return std::nullopt;
  return static_cast<std::int16_t>(bits);
}

std::optional<double> Difference(std::optional<double> drawn, std::optional<double> fedIn) {
  if (!drawn || !fedIn) return std::nullopt;
  return *drawn - *fedIn;
}

}  // namespace

std::optional<double> ModbusValues::Decode(EModbusType type, std::span<const std::uint16_t> registers) {
  const auto pair = [registers](std::size_t first) { return Joined(registers[first], registers[first + 1]); };
  switch (type) {
    case EModbusType::Float32:
      return Float(pair(0));
    case EModbusType::Unsigned32:
      return Unsigned(pair(0));
    case EModbusType::Signed32:
      return Signed(pair(0));
    case EModbusType::Signed32LowWordFirst:
      return Signed(Joined(registers[1], registers[0]));
    case EModbusType::ImportExport32:
      return Difference(Unsigned(pair(0)), Unsigned(pair(2)));
    case EModbusType::Signed16:
      return Signed16(registers[0]);
  }
  return std::nullopt;
}
