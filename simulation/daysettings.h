#pragma once

#include <cstdint>
#include <string>

#include "platform/worker/scheduler.h"

/// What a user can change while the station runs: how it charges from the sun, and how much it offers at
/// most.
struct SDaySettings {
  /// What charging needs and for how long, as the documentation of the modes has it.
  struct SThresholds {
    std::int32_t watt;
    std::chrono::seconds start;
    std::chrono::seconds stop;
  };
  /// Counts in the mode "AdvancedSolar" only.
  struct SAdvanced {
    SThresholds thresholds{1300, std::chrono::seconds(60), std::chrono::seconds(900)};
    std::int32_t offsetMilliAmpere = 0;
    std::uint32_t gainPercent = 100;
    std::uint32_t phases = 1;
  };

  bool isSolarEnabled = true;
  std::string mode = "PureSolar";
  std::string phaseSwitching = "Automatic";
  SAdvanced advanced;
  std::uint32_t userAmpere = 32;

  /// Of the mode.
  SThresholds Thresholds() const;
  /// Keys of settings.json and their values, without braces.
  std::string ToJsonMembers() const;
};
