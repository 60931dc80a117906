#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/worker/scheduler.h"
#include "src/components/loadbalancing/lbmessage.h"

/// Where a station of the group stands with its leader.
enum class ELbStationState : std::uint8_t {
  Leading,  ///< the leader itself
  Joining,  ///< has answered, is being asked who it is
  Led,      ///< takes its limits
  Silent,   ///< does not answer, may be drawing its fallback current
  Refused   ///< answers, but speaks another version
};

struct SLbStationView {
  LbSerialNumber serialNumber{};
  std::string address = {};  ///< empty: not known; of the own station: its leader's
  ELbStationState state = ELbStationState::Joining;
  bool isOwn = false;
  LbPhases phases = 0;  ///< on which its vehicle draws; 0: none, or not known
  bool isPhaseDiscovery = false;
  std::uint32_t limitMilliAmpere = 0;  ///< told last
  LbPhaseCurrents drawnMilliAmpere{};
  std::uint32_t fallbackMilliAmpere = 0;
  std::optional<Milliseconds> heardAgo{};  ///< none: never; of the own station: its leader
};

/// The group as one of its stations sees it: the leader all of it, a follower itself alone.
struct SLbGroupView {
  bool isLeader = false;
  bool isSettling = false;            ///< of a leader: everybody gets the fallback current at most, for now
  LbPhaseCurrents milliAmpere{};      ///< of a leader: what can be shared
  LbPhaseCurrents mostMilliAmpere{};  ///< of a leader: what the stations may be drawing together
  std::uint32_t unheard = 0;  ///< of a leader: stations of the group that were never heard, or have no place
  std::vector<SLbStationView> stations{};
};
