#include "simulation/modbusregisters.h"

#include <array>
#include <bit>
#include <cmath>
#include <initializer_list>

namespace {

/// One quantity in V, A or W on L1 to L3.
using Values = std::array<double, 3>;

struct SValues {
  Values voltage;
  Values current;
  Values power;

  double Total() const { return power[0] + power[1] + power[2]; }
};

constexpr double kMilli = 0.001;

SValues ValuesOf(const CHouseMeter::SView& view) {
  SValues values{};
  for (std::size_t phase = 0; phase < view.watt.size(); ++phase) {
    values.voltage[phase] = view.milliVolt[phase] * kMilli;
    values.current[phase] = view.milliAmpere[phase] * kMilli;
    values.power[phase] = view.watt[phase];
  }
  return values;
}

/// Fills registers one after the other.
class CWriter {
 public:
  CWriter(CModbusRegisters& registers, std::uint32_t address) : mRegisters(registers), mAddress(address) {}

  void Word(std::uint32_t word) {
    mRegisters.Set(static_cast<std::uint16_t>(mAddress++), static_cast<std::uint16_t>(word));
  }
  void Words(std::initializer_list<std::uint32_t> words) {
    for (const std::uint32_t word : words) Word(word);
  }
  void Fill(std::uint32_t count, std::initializer_list<std::uint32_t> words) {
    for (std::uint32_t i = 0; i < count; ++i) Words(words);
  }
  void HighFirst(std::uint32_t bits) { Words({bits >> 16, bits}); }
  void Float(double value) { HighFirst(std::bit_cast<std::uint32_t>(static_cast<float>(value))); }
  void Integer(double value) { Word(static_cast<std::uint32_t>(std::lround(value))); }
  void Value(EModbusType type, double value) {
    const auto rounded = static_cast<std::uint32_t>(static_cast<std::int32_t>(std::lround(value)));
    switch (type) {
      case EModbusType::Float32:
        return Float(value);
      case EModbusType::Unsigned32:
      case EModbusType::Signed32:
        return HighFirst(rounded);
      case EModbusType::Signed32LowWordFirst:
        return Words({rounded, rounded >> 16});
      case EModbusType::ImportExport32:
        HighFirst(value > 0 ? rounded : 0);
        return HighFirst(value < 0 ? 0 - rounded : 0);
      case EModbusType::Signed16:
        return Word(rounded);
    }
  }

 private:
  CModbusRegisters& mRegisters;
  std::uint32_t mAddress;
};

void Write(CModbusRegisters& registers, const std::optional<SModbusQuantity>& quantity, std::uint32_t phases,
           const Values& values) {
  if (!quantity) return;
  for (std::uint32_t phase = 0; phase < phases; ++phase) {
    CWriter writer(registers, quantity->address + phase * quantity->toNextPhase);
    writer.Value(quantity->type, values[phase] / quantity->scale);
  }
}

void WriteMap(const SModbusMap& map, const SValues& values, CModbusRegisters& registers) {
  if (map.readAlong) {
    CWriter(registers, map.readAlong->first).Fill(map.readAlong->last - map.readAlong->first + 1U, {0});
  }
  // A meter of one phase sits on L1 of this house.
  Write(registers, map.voltage, map.phases, values.voltage);
  Write(registers, map.current, map.phases, values.current);
  Write(registers, map.power, map.phases, values.power);
  Write(registers, map.totalPower, 1, {values.Total(), 0, 0});
}

// Models of a SunSpec list: number, length, and as many registers.
constexpr std::uint32_t kListBegin = 40000;
constexpr std::uint32_t kCommon = 1;
constexpr std::uint32_t kCommonLength = 66;
constexpr std::uint32_t kIntegers = 203;
constexpr std::uint32_t kIntegersLength = 105;
constexpr std::uint32_t kFloats = 213;
constexpr std::uint32_t kFloatsLength = 124;
constexpr std::uint32_t kListEnd = 0xffff;
constexpr std::uint32_t kNoInteger = 0x8000;
constexpr std::uint32_t kNoFloat = 0x7fc0;
constexpr std::uint32_t kHundredths = 0xfffe;  // as powers of ten
constexpr std::uint32_t kTenths = 0xffff;
constexpr std::uint32_t kWhole = 0;

void WriteIntegers(CWriter& writer, const SValues& values) {
  const auto& [voltage, current, power] = values;
  writer.Words({kIntegers, kIntegersLength});
  for (const double ampere : {current[0] + current[1] + current[2], current[0], current[1], current[2]})
    writer.Integer(ampere * 100);
  writer.Words({kHundredths, kNoInteger});
  for (const double volt : voltage) writer.Integer(volt * 10);
  writer.Fill(4, {kNoInteger});  // between the phases
  writer.Words({kTenths, 5000, kHundredths});
  for (const double watt : {values.Total(), power[0], power[1], power[2]}) writer.Integer(watt);
  writer.Word(kWhole);
  writer.Fill(kIntegersLength - 21, {kNoInteger});
}

void WriteFloats(CWriter& writer, const SValues& values) {
  const auto& [voltage, current, power] = values;
  writer.Words({kFloats, kFloatsLength});
  for (const double ampere : {current[0] + current[1] + current[2], current[0], current[1], current[2]})
    writer.Float(ampere);
  writer.Words({kNoFloat, 0});
  for (const double volt : voltage) writer.Float(volt);
  writer.Fill(4, {kNoFloat, 0});  // between the phases
  writer.Float(50);
  for (const double watt : {values.Total(), power[0], power[1], power[2]}) writer.Float(watt);
  writer.Fill((kFloatsLength - 34) / 2, {kNoFloat, 0});
}

void WriteList(ESunSpec sunSpec, const SValues& values, CModbusRegisters& registers) {
  CWriter writer(registers, kListBegin);
  writer.Words({0x5375, 0x6e53, kCommon, kCommonLength});
  writer.Fill(kCommonLength, {0});
  if (sunSpec == ESunSpec::Integers) {
    WriteIntegers(writer, values);
  } else {
    WriteFloats(writer, values);
  }
  writer.Words({kListEnd, 0});
}

}  // namespace

void WriteModbusRegisters(const SModbusMeterModel& model, const CHouseMeter::SView& view,
                          CModbusRegisters& registers) {
  const SValues values = ValuesOf(view);
  if (model.sunSpec == ESunSpec::No) return WriteMap(model.map, values, registers);
  WriteList(model.sunSpec, values, registers);
}
