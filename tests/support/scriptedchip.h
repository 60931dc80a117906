#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include <gtest/gtest.h>

#include "src/components/measurementsources/ctmeter.h"

/// What a scripted metering chip does, and what it was told. Outlives the chip.
struct SChipScript {
  std::atomic<bool> canBeInitialized{true};
  std::atomic<bool> isReadable{true};
  std::atomic<bool> isRunning{true};
  std::array<std::atomic<std::uint32_t>, 3> registers{};
  std::atomic<int> initializations{0};
  std::vector<std::array<std::int32_t, 4>> calibrations{};
  std::vector<std::uint16_t> pgaGains{};

  void Set(std::uint32_t one, std::uint32_t two, std::uint32_t three) {
    registers[0] = one;
    registers[1] = two;
    registers[2] = three;
  }
};

class CScriptedChip final : public ICtMeter {
 public:
  explicit CScriptedChip(SChipScript& script) : mScript(script) {}

  bool Initialize(std::span<const SCalibration> calibrations,
                  std::span<const std::uint16_t> pgaGains) override {
    const auto turn = Turn();
    ++mScript.initializations;
    mScript.calibrations.clear();
    for (const auto& record : calibrations) {
      mScript.calibrations.push_back(
          {record.currentGain, record.voltageGain, record.voltageRmsOffset, record.currentRmsOffset});
    }
    mScript.pgaGains.assign(pgaGains.begin(), pgaGains.end());
    if (mScript.canBeInitialized) mScript.isRunning = true;
    return mScript.canBeInitialized;
  }
  std::optional<RmsRegisters> ReadCurrentRms() override {
    const auto turn = Turn();
    if (!mScript.isReadable) return std::nullopt;
    return RmsRegisters{mScript.registers[0], mScript.registers[1], mScript.registers[2]};
  }
  bool IsRunning() override {
    const auto turn = Turn();
    return mScript.isRunning;
  }

 private:
  /// Held while a thread talks to the chip: no two may at once.
  std::unique_lock<std::mutex> Turn() {
    std::unique_lock turn(mTalking, std::try_to_lock);
    EXPECT_TRUE(turn.owns_lock());
    return turn;
  }

  SChipScript& mScript;
  std::mutex mTalking;
};
