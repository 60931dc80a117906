#include "src/components/measurementsources/sunspecsearch.h"

#include <array>
#include <iterator>
#include <utility>

#include <fmt/format.h>

#include "platform/utility/text.h"

namespace {

/// Where lists begin; the last two are for meters that are off by one.
constexpr std::uint32_t kBegins[] = {40000, 50000, 0, 39999, 40001};
constexpr std::array<std::uint16_t, 2> kMark{0x5375, 0x6e53};  // "SunS"
constexpr std::uint16_t kEnd = 0xffff;
constexpr std::uint32_t kHeader = 2;  // number and length
constexpr std::uint32_t kRegisters = 0x10000;

/// Models of meters have numbers in a row: single, split, star, delta.
constexpr std::uint16_t kPhases[] = {1, 2, 3, 3};
constexpr std::uint16_t kDelta = 3;

struct SLayout {
  std::uint16_t firstModel;
  std::uint16_t leastLength;  // that holds what is read
  EModbusType type;
  // From the register with the model's number on.
  std::uint16_t current;
  std::uint16_t voltage;
  std::uint16_t totalPower;
  std::uint16_t power;
  // Powers of ten; 0: none.
  std::uint16_t ofCurrent;
  std::uint16_t ofVoltage;
  std::uint16_t ofPower;
};

constexpr SLayout kIntegers{201, 21, EModbusType::Signed16, 3, 8, 18, 19, 6, 15, 22};
constexpr SLayout kFloats{211, 34, EModbusType::Float32, 4, 12, 28, 30, 0, 0, 0};

SModbusResult Refused(std::string reason) {
  return {SModbusResult::EKind::Refused, std::move(reason)};
}

SModbusMap MapOf(const SLayout& layout, std::uint32_t address, std::uint16_t kind, std::uint16_t length) {
  const auto at = [address](std::uint32_t offset) { return static_cast<std::uint16_t>(address + offset); };
  const auto quantity = [&](std::uint16_t offset, std::uint16_t powerOfTen) {
    SModbusQuantity result{layout.type, at(offset), RegistersOf(layout.type)};
    if (powerOfTen != 0) result.powerOfTen = at(powerOfTen);
    return result;
  };
  SModbusMap map{.phases = static_cast<std::uint8_t>(kPhases[kind]),
                 .current = quantity(layout.current, layout.ofCurrent),
                 .power = quantity(layout.power, layout.ofPower),
                 .totalPower = quantity(layout.totalPower, layout.ofPower),
                 .readAlong = SModbusRange{at(0), at(length + kHeader - 1)}};
  // In a delta there is nothing to measure the phases against.
  if (kind != kDelta) map.voltage = quantity(layout.voltage, layout.ofVoltage);
  return map;
}

}  // namespace

CSunSpecSearch::CSunSpecSearch(const IClock& clock, ReadRegisters read)
    : mClock(clock), mRead(std::move(read)), mBegin(clock.Now()) {}

SModbusResult CSunSpecSearch::Find(ESunSpec values, SModbusMap& map) {
  std::uint32_t first = 0;
  if (SModbusResult found = FindList(first); !found) return found;
  return Walk(first, values, map);
}

SModbusResult CSunSpecSearch::FindList(std::uint32_t& first) {
  std::string refusal;
  for (const std::uint32_t begin : kBegins) {
    std::array<std::uint16_t, kMark.size()> mark{};
    const SModbusResult result = Read(begin, mark);
    if (result.kind == SModbusResult::EKind::Lost) return result;
    if (!result) refusal = result.reason;
    if (!result || mark != kMark) continue;
    first = begin + kMark.size();
    return {};
  }
  return Refused(fmt::format("no SunSpec list is there{}{}", refusal.empty() ? "" : ": ", refusal));
}

SModbusResult CSunSpecSearch::Walk(std::uint32_t address, ESunSpec values, SModbusMap& map) {
  const SLayout& layout = values == ESunSpec::Integers ? kIntegers : kFloats;
  std::string seen;
  for (std::uint32_t models = 0; models < kMostModels; ++models) {
    std::array<std::uint16_t, kHeader> header{};
    if (SModbusResult result = Read(address, header); !result) {
      result.reason = fmt::format("the SunSpec list breaks off at {}: {}", address, result.reason);
      return result;
    }
    const auto [model, length] = header;
    if (model == kEnd) break;
    const auto kind = static_cast<std::uint16_t>(model - layout.firstModel);
    const std::uint32_t next = address + kHeader + length;
    if (kind < std::size(kPhases)) {
      if (length < layout.leastLength || next > kRegisters)
        return Refused(fmt::format("the SunSpec model {} at {} has the length {}", model, address, length));
      map = MapOf(layout, address, kind, length);
      return {};
    }
    fmt::format_to(std::back_inserter(seen), "{}{}", seen.empty() ? "" : ", ", model);
    address = next;
  }
  return Refused(fmt::format("the SunSpec list has no model {} to {}, only: {}", layout.firstModel,
                             layout.firstModel + std::size(kPhases) - 1, Text::Shortened(seen)));
}

SModbusResult CSunSpecSearch::Read(std::uint32_t address, std::span<std::uint16_t> registers) {
  if (address + registers.size() > kRegisters) return Refused("there are no more registers");
  if (mClock.Now() - mBegin > kLongest)
    return Refused(fmt::format("no meter was found in {} ms", kLongest.count()));
  return mRead(static_cast<std::uint16_t>(address), registers);
}
