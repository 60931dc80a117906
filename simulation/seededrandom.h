#pragma once

#include <cstdint>
#include <span>

#include "platform/crypto/randomgenerator.h"
#include "simulation/random.h"

/// Random bytes that a seed repeats, in place of those that nobody can foretell. It cannot begin when told
/// so.
class CSeededRandom final : public IRandomGenerator {
 public:
  explicit CSeededRandom(std::uint64_t seed) : mRandom(seed) {}

  int Init() override { return mInitCode; }
  int GenerateBlock(std::span<std::uint8_t> block) override {
    for (std::uint8_t& byte : block) byte = static_cast<std::uint8_t>(mRandom.Below(kBytes));
    return 0;
  }

  /// From now on, with a code other than 0; 0: it works again.
  void FailInit(int code) { mInitCode = code; }

 private:
  static constexpr std::uint64_t kBytes = 256;

  CRandom mRandom;
  int mInitCode = 0;
};
