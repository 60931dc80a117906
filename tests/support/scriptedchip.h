#pragma once

#include <array>
#include <atomic>
#include <cstdint>
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
    const CTurn turn(mTalking);
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
    const CTurn turn(mTalking);
    if (!mScript.isReadable) return std::nullopt;
    return RmsRegisters{mScript.registers[0], mScript.registers[1], mScript.registers[2]};
  }
  bool IsRunning() override {
    const CTurn turn(mTalking);
    return mScript.isRunning;
  }

 private:
  /// Notices two threads that talk to the chip at once.
  class CTurn {
   public:
    explicit CTurn(std::atomic<bool>& talking) : mTalking(talking) { EXPECT_FALSE(mTalking.exchange(true)); }
    ~CTurn() { mTalking = false; }

   private:
    std::atomic<bool>& mTalking;
  };

  SChipScript& mScript;
  std::atomic<bool> mTalking{false};
};
