#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "simulation/eveningplan.h"
#include "simulation/virtualstation.h"

/// Plays a planned evening at a whole station in virtual time and watches what must hold in every one:
/// - the main fuse holds;
/// - while the house is not measured the setpoint is at most the fallback current, give or take what the
///   current limiter does not forward;
/// - a vehicle that charges is not reduced to less than it can charge with, unless to nothing;
/// - when the house is calm the vehicle has its full current back within `kReturn`.
/// One thread.
class CBlackoutEvening {
 public:
  /// Full: as much as vehicle and installation allow, but no more than 85 % of the fuse.
  static constexpr Milliseconds kReturn{150000};

  struct SOutcome {
    std::vector<std::string> violations;  ///< each with its time; empty when all held
    double highestHeat = 0;               ///< of the fuse, as a part of what trips it
    std::uint32_t setpoints = 0;
    std::optional<Milliseconds> returned;  ///< from calm to full current; none when it never came
  };
  /// What there is to see at a moment.
  struct SMoment {
    Milliseconds at;
    CHouse::SView house;
    std::uint32_t setpoint;  ///< mA
    bool measured;           ///< the meter can be read
  };
  using Observer = std::function<void(const SMoment&)>;

  /// Throws std::invalid_argument when there is no such meter.
  explicit CBlackoutEvening(SEveningPlan plan, Observer observer = {});

  SOutcome Play();

 private:
  void Happen();
  void Suffer(SEveningPlan::ETrouble trouble);
  void SufferChip(SEveningPlan::ETrouble trouble);
  void SufferMeter(SEveningPlan::ETrouble trouble);
  void Watch();
  void WatchReturn(const SMoment& moment);
  void OnSetpoint(std::uint32_t milliAmpere);
  bool HasTransformers() const;
  bool IsMeasured();
  void Violation(const std::string& what);

  const SEveningPlan mPlan;
  const Observer mObserver;
  CVirtualStation mStation;
  std::size_t mNextLoads = 0;
  std::size_t mNextTrouble = 0;
  std::size_t mNextPlug = 0;
  std::uint32_t mSetpoint = 0;
  Milliseconds mMeasuredLast{0};   ///< when the meter could last be read
  Milliseconds mChargingSince{0};  ///< reset while the vehicle does not charge
  SOutcome mOutcome;
};
