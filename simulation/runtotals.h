#pragma once

#include <cstdint>

#include "platform/worker/scheduler.h"
#include "simulation/stationmoment.h"

/// What a run of a station comes to.
struct SRunTotals {
  std::uint64_t chargedWattHours = 0;
  std::uint64_t solarWattHours = 0;  ///< of these, what the roof gave and the household did not take
  std::uint32_t setpoints = 0;
  std::uint32_t phaseSwitches = 0;  ///< setpoints on another number of phases than the one before
  std::uint32_t stops = 0;          ///< of vehicles that drew what they may not
  double highestHeat = 0;           ///< of the fuse, as a part of what trips it

  /// Of both runs together.
  void Add(const SRunTotals& other);
};

/// Counts it. One thread.
class CRunTotals {
 public:
  /// What flows at one moment is taken to have flowed for this long until then.
  explicit CRunTotals(Milliseconds period) : mPeriod(period) {}

  /// Charge control has taken one.
  void OnSetpoint(std::uint32_t phases);
  /// Once in every period; the start does not count.
  void OnMoment(const SStationMoment& moment);

  SRunTotals Get() const;

 private:
  const Milliseconds mPeriod;
  SRunTotals mTotals;
  std::uint32_t mPhases = 0;  ///< of the last setpoint; 0: there was none
  bool mIsStopped = false;
  std::int64_t mChargedWatt = 0;  ///< summed up over all periods
  std::int64_t mSolarWatt = 0;
};
