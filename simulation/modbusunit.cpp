#include "simulation/modbusunit.h"

namespace {

/// No number in whatever type, or one that no meter shows.
constexpr std::uint16_t kNothing = 0xffff;

}  // namespace

void CModbusUnit::Overwrite(std::uint16_t address, std::uint16_t word) {
  CMutexLock lock(mMutex);
  mOverwritten[address] = word;
}

void CModbusUnit::Restore() {
  CMutexLock lock(mMutex);
  mOverwritten.clear();
}

std::optional<CModbusUnit::SAnswer> CModbusUnit::Read(std::uint8_t unit, std::uint8_t function,
                                                      std::uint16_t address, std::uint16_t count) {
  if (IsAway() || (unit != mModel.unit && !mAnswersToAll)) return std::nullopt;
  if (function != static_cast<std::uint8_t>(mModel.map.table)) return SAnswer{kIllegalFunction, {}};
  SAnswer answer = Look(address, count);
  if (mMeter.Fate() != CHouseMeter::EFate::Garbled || answer.exception != 0) return answer;
  const bool fails = mFailsNext;
  mFailsNext = !fails;
  if (fails) return SAnswer{kDeviceFailure, {}};
  answer.registers.assign(count, kNothing);
  return answer;
}

CModbusUnit::SAnswer CModbusUnit::Look(std::uint16_t address, std::uint16_t count) {
  const CHouseMeter::SView view = mMeter.View();
  SAnswer answer;
  answer.registers.reserve(count);
  CMutexLock lock(mMutex);
  WriteModbusRegisters(mModel, view, mRegisters);
  for (std::uint32_t at = address; at < std::uint32_t{address} + count; ++at) {
    const auto key = static_cast<std::uint16_t>(at);
    const auto word = mRegisters.At(key);
    if (at != key || !word) return {kIllegalAddress, {}};
    const auto changed = mOverwritten.find(key);
    answer.registers.push_back(changed == mOverwritten.end() ? *word : changed->second);
  }
  return answer;
}
