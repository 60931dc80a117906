#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "src/components/blackoutprotection/blackoutprotectionbase.h"

/// The main fuse as a group's leader sees it, with a meter that is always right. One thread.
class CLightFuse final : public IBlackoutProtection {
 public:
  /// Of the rating, that is planned with.
  static constexpr std::int64_t kUsablePercent = 95;

  explicit CLightFuse(std::uint32_t ampere) : mUsable(std::int64_t{ampere} * 1000 * kUsablePercent / 100) {}

  /// What flows through it now, in mA.
  void Measure(const std::array<std::int64_t, 3>& milliAmpere) {
    for (std::size_t phase = 0; phase < mAllowance.size(); ++phase)
      mAllowance[phase] = static_cast<std::int32_t>(mUsable - std::max<std::int64_t>(milliAmpere[phase], 0));
  }

  bool IsInError() const override { return false; }
  ThreePhaseValue GetAllowanceCurrent() override { return mAllowance; }
  std::uint32_t GetFallbackCurrent() const override { return 0; }

 private:
  const std::int64_t mUsable;
  ThreePhaseValue mAllowance{};
};
