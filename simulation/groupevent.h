#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <variant>

#include "platform/worker/scheduler.h"
#include "simulation/hearing.h"
#include "simulation/vehicle.h"

/// What happens to a group from outside.
namespace GroupEvents {

/// A vehicle comes; or the one that is there takes another current from now on.
struct SPlug {
  MediumStation station = 0;
  CVehicle::SProperties vehicle{};
};
struct SUnplug {
  MediumStation station = 0;
};
struct SFull {
  MediumStation station = 0;
};
struct SPower {
  MediumStation station = 0;
  bool isOn = true;
};
/// The network adapter, or the serial device.
struct SAdapter {
  MediumStation station = 0;
  bool isPresent = true;
};
/// No parts: the medium is whole again.
struct SSplit {
  CHearing::Parts parts{};
};
/// From now on; on a line there is neither delay nor duplication.
struct SNoise {
  std::uint32_t lossPerMille = 0;
  std::uint32_t duplicationPerMille = 0;
  Milliseconds longestDelay{0};
  bool IsQuiet() const { return lossPerMille == 0 && duplicationPerMille == 0 && longestDelay.count() == 0; }
};
/// Somebody changes what the supply has, in the leader's settings.
struct SCapacity {
  std::uint32_t ampere = 0;
};
/// What the house takes besides the group, in mA on R, S and T; negative: its roof gives more.
struct SHouse {
  std::array<std::int32_t, 3> milliAmpere{};
};
/// Somebody makes a leader of one more station, or a follower again.
struct SSecondLeader {
  MediumStation station = 0;
  bool begins = true;
};

using What =
    std::variant<SPlug, SUnplug, SFull, SPower, SAdapter, SSplit, SNoise, SCapacity, SHouse, SSecondLeader>;

std::string ToText(const What& what);

}  // namespace GroupEvents

struct SGroupEvent {
  Milliseconds at;
  GroupEvents::What what;
};
