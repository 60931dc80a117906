#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "simulation/dayplan.h"
#include "simulation/stationmoment.h"

/// Plays a planned day at a whole station in virtual time, with the application that ships, and checks all
/// the while what must hold on every day (see CDayRules). One thread.
class CStationDay {
 public:
  struct SViolation {
    Milliseconds at;
    std::string rule;     ///< what did not hold, the same words on every day
    std::string figures;  ///< by how much
  };
  struct SOutcome {
    std::vector<SViolation> violations;  ///< in order of time; empty when all held
    std::uint64_t chargedWattHours = 0;
    std::uint64_t solarWattHours = 0;  ///< of these, what the roof gave and the household did not take
    std::uint32_t setpoints = 0;
    std::uint32_t phaseSwitches = 0;  ///< setpoints on another number of phases than the one before
    std::uint32_t stops = 0;          ///< of vehicles that drew what they may not
    double highestHeat = 0;           ///< of the fuse, as a part of what trips it
  };
  using Observer = std::function<void(const SStationMoment&)>;

  /// `observer` sees a moment of every `step`, the start first; a step is a whole number of `kCheckPeriod`.
  explicit CStationDay(SDayPlan plan, Observer observer = {}, Milliseconds step = kUsualStep);
  ~CStationDay();

  /// Once.
  SOutcome Play();

  static constexpr Milliseconds kUsualStep{10000};
  /// How often the rules are checked.
  static constexpr Milliseconds kCheckPeriod{1000};

 private:
  class CImplementation;
  const std::unique_ptr<CImplementation> mImplementation;
};
