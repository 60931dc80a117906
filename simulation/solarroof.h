#pragma once

#include <cstdint>
#include <vector>

#include "platform/worker/scheduler.h"
#include "simulation/day.h"
#include "simulation/random.h"
#include "simulation/vehicle.h"

/// The photovoltaic modules on the roof through a summer's day, 00:00 to 24:00: what their inverter gives is
/// a function of the time of day that a seed repeats on every machine. Never changed, so any thread.
class CSolarRoof {
 public:
  enum class EWeather : std::uint8_t {
    Clear,         ///< a smooth bell from sunrise to sunset
    BrokenClouds,  ///< deep dips with steep edges, again and again
    Rain           ///< a small part of a clear day's, slowly varying
  };
  struct SProperties {
    EWeather weather = EWeather::Clear;
    std::uint32_t peakWatt = 6000;  ///< at noon under a clear sky; up to kMostPeakWatt
    std::uint32_t phases = 3;       ///< of the inverter: 3, or 1, which is L1
    std::uint64_t seed = 1;
  };
  static constexpr std::uint32_t kMostPeakWatt = 60000;
  static constexpr Milliseconds kSunrise = std::chrono::hours(6);
  static constexpr Milliseconds kSunset = std::chrono::hours(20);

  explicit CSolarRoof(const SProperties& properties);

  /// W; the day after is the same again. `ofDay` is not negative.
  std::uint32_t WattAt(Milliseconds ofDay) const;
  /// mA on L1 to L3, at 230 V.
  CVehicle::Currents CurrentsAt(Milliseconds ofDay) const;

 private:
  /// How much of a clear sky's light gets through from here to the next knot, along a straight line.
  struct SKnot {
    Milliseconds at;
    std::int64_t perMille;
  };

  void AddClouds(CRandom& random);
  void AddRain(CRandom& random);
  std::int64_t PerMilleAt(Milliseconds ofDay) const;

  SProperties mProperties;
  std::vector<SKnot> mSky;  ///< in order of time, over the whole day
};
