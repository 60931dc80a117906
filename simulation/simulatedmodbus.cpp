#include "simulation/simulatedmodbus.h"

#include <algorithm>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace {

SModbusResult Lost(std::string reason) {
  return {SModbusResult::EKind::Lost, std::move(reason)};
}

class CClient final : public IModbusClient {
 public:
  CClient(CModbusUnit& unit, std::shared_ptr<CSimulatedModbus::SCount> count, std::shared_ptr<bool> cutsNext)
      : mUnit(unit), mCount(std::move(count)), mCutsNext(std::move(cutsNext)) {}

  SModbusResult Connect() override {
    if (mIsConnected) return {};
    ++mCount->connections;
    if (mUnit.IsAway()) return Lost("connecting: nobody is there");
    mIsConnected = true;
    return {};
  }

  void Disconnect() override { mIsConnected = false; }

  SModbusResult Read(EModbusTable table, std::uint8_t unit, std::uint16_t address,
                     std::span<std::uint16_t> registers) override {
    ++mCount->requests;
    if (!mIsConnected) return Lost("reading: not connected");
    const auto answer = mUnit.Read(unit, static_cast<std::uint8_t>(table), address,
                                   static_cast<std::uint16_t>(registers.size()));
    const bool isCut = std::exchange(*mCutsNext, false);
    mIsConnected = answer.has_value() && !isCut;
    if (!mIsConnected) return Lost(isCut ? "reading: the answer is too short" : "reading: no answer");
    if (answer->exception != 0)
      return {SModbusResult::EKind::Refused, fmt::format("exception {}", answer->exception)};
    std::ranges::copy(answer->registers, registers.begin());
    return {};
  }

 private:
  CModbusUnit& mUnit;
  const std::shared_ptr<CSimulatedModbus::SCount> mCount;
  const std::shared_ptr<bool> mCutsNext;
  bool mIsConnected = false;
};

}  // namespace

std::unique_ptr<IModbusClient> CSimulatedModbus::CreateTcpClient(const SModbusTcpServer&) {
  return std::make_unique<CClient>(mUnit, mCount, mCutsNext);
}

std::unique_ptr<IModbusClient> CSimulatedModbus::CreateRtuClient(const SModbusRtuLine&) {
  return std::make_unique<CClient>(mUnit, mCount, mCutsNext);
}
