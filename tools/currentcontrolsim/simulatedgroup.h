#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "simulation/dayrule.h"
#include "simulation/grouprun.h"

/// A run of a group that is over, as reports show it. Currents are in mA, on R, S and T.
struct SSimulatedGroup {
  enum class EState : std::uint8_t { NoPower, Alone, Settling, Idle, Waits, Charges };
  /// What people call it.
  static constexpr std::array<std::string_view, 6> kStates{
      "no power", "without a leader", "leader settling", "nothing to charge", "waits", "may charge"};

  struct SStation {
    std::string serialNumber;
    std::uint32_t fallbackMilliAmpere = 0;
    std::uint64_t wattHours = 0;
    Milliseconds charging{0};
    /// For which a vehicle wanted current, and its station offered less than it needs.
    Milliseconds longestWait{0};
    Milliseconds longestWaitAt{0};  ///< it began
  };
  struct SStationPoint {
    std::uint32_t limit;
    std::uint32_t drawn;  ///< on the phase that has most
    EState state;
  };
  struct SPoint {
    Milliseconds at;
    LbPhaseCurrents capacity;
    LbPhaseCurrents mayDraw;  ///< all stations together, at most
    LbPhaseCurrents drawn;
    std::vector<SStationPoint> stations;
  };
  /// A moment and the phase of it that stands out.
  struct SExtreme {
    Milliseconds at{0};
    std::size_t phase = 0;
    std::uint32_t milliAmpere = 0;
    std::uint32_t capacity = 0;
    std::int64_t Left() const { return std::int64_t{capacity} - milliAmpere; }
  };
  struct STrouble {
    Milliseconds from;
    Milliseconds until;
    std::string what;
    std::vector<MediumStation> stations;  ///< that suffer; empty: all
  };

  std::string title;
  std::string about;  ///< one line
  std::vector<SStation> stations{};
  std::vector<SPoint> points{};  ///< one of every step
  std::vector<STrouble> troubles{};
  SExtreme mostDrawn{};
  SExtreme leastLeft{};  ///< of what they might have drawn
  CGroupRun::STotals totals{};
  std::vector<SDayViolation> violations{};  ///< in order of time

  bool IsGood() const { return violations.empty(); }
};
