#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

#include "platform/crypto/randomgenerator.h"

/// What it gives for a random block, and how it fails, is set from outside.
class CScriptedRandom final : public IRandomGenerator {
 public:
  struct SScript {
    int initResult = 0;
    int blockResult = 0;
    std::array<std::uint8_t, 12> block{};  ///< counted up each time
  };

  explicit CScriptedRandom(SScript& script) : mScript(script) {}

  int Init() override { return mScript.initResult; }
  int GenerateBlock(std::span<std::uint8_t> block) override {
    std::ranges::copy_n(mScript.block.begin(), static_cast<std::ptrdiff_t>(block.size()), block.begin());
    for (std::uint8_t& byte : mScript.block)
      if (++byte != 0) break;
    return mScript.blockResult;
  }

 private:
  SScript& mScript;
};
