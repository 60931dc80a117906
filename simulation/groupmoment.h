#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulation/groupplan.h"
#include "src/components/loadbalancing/lbmessage.h"

/// What is true of a station at a moment, as those know it who planned it and stand beside it.
struct SGroupStationMoment {
  static constexpr std::uint32_t kLeastMilliAmpere = CVehicle::kLeastMilliAmpere;

  // The way to it.
  bool isPowered = false;
  bool isReachable = false;        ///< the leader and it could talk; for the leader: it leads
  Milliseconds reachableSince{0};  ///< of that state
  /// When it told first what it draws, since the leader started.
  std::optional<Milliseconds> heard = {};
  std::optional<Milliseconds> answered = {};  ///< when it did so last
  bool isLed = false;                         ///< what the leader told holds there
  // Its vehicle.
  std::optional<CVehicle::SProperties> vehicle = {};
  bool isFull = false;
  Milliseconds vehicleSince{0};   ///< when it came or went
  LbPhases wired = kLbAllPhases;  ///< of this vehicle, or of the last one; R, S, T
  bool isDrawing = false;
  Milliseconds hasDrawn{0};     ///< for so long altogether
  bool arePhasesKnown = false;  ///< it has been drawing for long enough
  Milliseconds wantsSince{0};   ///< it does so, or does not
  // What it has.
  std::uint32_t limitMilliAmpere = 0;  ///< in force
  std::uint32_t fallbackMilliAmpere = 0;
  LbPhaseCurrents drawn = {};
  LbPhaseCurrents mayDraw = {};  ///< mA, of what is in force or may be so at any time

  bool Wants() const { return vehicle && !isFull && isPowered; }
  bool IsServed() const { return limitMilliAmpere >= kLeastMilliAmpere; }
};

/// The same of the whole group.
struct SGroupMoment {
  const SGroupPlan& plan;
  Milliseconds at{0};
  std::vector<SGroupStationMoment> stations = {};  ///< in order of their numbers
  LbPhaseCurrents capacity = {};                   ///< mA, that there is for the group
  LbPhaseCurrents planned = {};                    ///< the same without what nobody plans with
  LbPhaseCurrents granted = {};           ///< the most of both of late, when nobody can know of a fall yet
  LbPhaseCurrents least = {};             ///< and the least that was planned with
  LbPhaseCurrents mayDraw = {};           ///< all of them together
  std::uint64_t fallbackMilliAmpere = 0;  ///< the most that all may fall back to at once
  Milliseconds capacitySince{0};
  bool isNoisy = false;  ///< packets are lost
  bool isWhole = false;  ///< everybody is on and hears each other, and one leads
  Milliseconds lastEvent{0};

  bool DoFallbacksFit() const {
    return std::ranges::all_of(least, [this](std::uint32_t each) { return fallbackMilliAmpere <= each; });
  }
  /// Whether the station could get the least current, if nobody else did.
  bool HasRoomFor(const SGroupStationMoment& station) const {
    const std::uint64_t others = fallbackMilliAmpere - station.fallbackMilliAmpere;
    return std::ranges::all_of(planned, [others](std::uint32_t each) {
      return others + SGroupStationMoment::kLeastMilliAmpere <= each;
    });
  }
  /// What the station could have besides, in mA, the others as they are. Nobody can know on which phases
  /// somebody will draw who does not.
  std::uint32_t Unused(const SGroupStationMoment& station) const;
  /// What the slowest vehicle that is there takes from its full current to nothing, or back.
  Milliseconds SlowestVehicle() const;
  /// For so long nothing has happened, and nothing is wrong.
  Milliseconds Calm() const { return isWhole && !isNoisy ? at - lastEvent : Milliseconds(0); }
};
