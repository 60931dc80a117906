#include "tools/display/grouptable.h"

#include <array>
#include <cstdint>

#include <fmt/format.h>

#include "tools/display/limitstable.h"
#include "tools/display/table.h"

namespace {

constexpr auto kNothing = "-";

constexpr std::array<CTable::SColumn, 10> kColumns{{{"STATION"},
                                                    {"ADDRESS"},
                                                    {"STATE"},
                                                    {"PHASES"},
                                                    {"LIMIT", true},
                                                    {"R", true},
                                                    {"S", true},
                                                    {"T", true},
                                                    {"FALLBACK", true},
                                                    {"SEEN", true}}};

/// Whether what it was told is in force, and what it said of its vehicle is so now.
bool IsKnown(const ipc::MGroupStation& station) {
  return station.is_own() || station.state() == ipc::EGroupStationLed;
}

std::string FormatPhases(const ipc::MGroupStation& station) {
  if (station.phase_discovery()) return "looking";
  std::string text;
  for (std::uint32_t phase = 0; phase < 3; ++phase) {
    if (((station.phases() >> phase) & 1U) == 0) continue;
    if (!text.empty()) text += ' ';
    text += "RST"[phase];
  }
  return text.empty() || !IsKnown(station) ? kNothing : text;
}

std::string FormatCurrent(const ipc::MGroupStation& station, std::uint32_t milliAmpere) {
  return IsKnown(station) ? FormatTenths(milliAmpere) : kNothing;
}

std::string FormatAddress(const ipc::MGroupStation& station) {
  if (station.is_own()) return "this station";
  return station.address().empty() ? kNothing : station.address();
}

std::string FormatPhaseCurrents(const ipc::MPhaseCurrents& milliAmpere) {
  return fmt::format("R {}, S {}, T {}", FormatTenths(milliAmpere.r()), FormatTenths(milliAmpere.s()),
                     FormatTenths(milliAmpere.t()));
}

std::string FormatFollower(const ipc::MGroup& group) {
  const bool isLed = group.stations_size() > 0 && group.stations(0).state() == ipc::EGroupStationLed;
  return isLed ? fmt::format("follower of {}, which knows the rest of the group; currents in A\n",
                             group.stations(0).address())
               : "follower that nobody leads now; its leader knows the rest of the group; currents in A\n";
}

std::string FormatLeader(const ipc::MGroup& group) {
  std::string text =
      fmt::format("leader; to share {}; given out {}; currents in A\n", FormatPhaseCurrents(group.capacity()),
                  FormatPhaseCurrents(group.exposure()));
  if (group.settling()) text += "settling: nobody gets more than its fallback current for now\n";
  if (group.unheard() > 0) {
    text += fmt::format("{} station{} of the group {} never heard; {} fallback current is kept\n",
                        group.unheard(), group.unheard() == 1 ? "" : "s",
                        group.unheard() == 1 ? "was" : "were", group.unheard() == 1 ? "its" : "their");
  }
  return text;
}

std::string FormatHead(const ipc::MGroup& group) {
  if (group.role() == ipc::EGroupRoleLeader) return FormatLeader(group);
  if (group.role() == ipc::EGroupRoleFollower) return FormatFollower(group);
  return fmt::format("role {}\n", FormatRole(group.role()));
}

}  // namespace

std::string FormatRole(ipc::EGroupRole role) {
  switch (role) {
    case ipc::EGroupRoleNone:
      return "none";
    case ipc::EGroupRoleLeader:
      return "leader";
    case ipc::EGroupRoleFollower:
      return "follower";
    default:
      return fmt::format("unknown ({})", static_cast<int>(role));
  }
}

std::string FormatState(ipc::EGroupStationState state) {
  switch (state) {
    case ipc::EGroupStationLeading:
      return "leads";
    case ipc::EGroupStationJoining:
      return "joining";
    case ipc::EGroupStationLed:
      return "led";
    case ipc::EGroupStationSilent:
      return "silent";
    case ipc::EGroupStationRefused:
      return "refused";
    default:
      return fmt::format("unknown ({})", static_cast<int>(state));
  }
}

std::string FormatGroup(const ipc::MGroup& group) {
  if (group.role() == ipc::EGroupRoleNone) return "this station is in no group\n";
  CTable table(kColumns);
  for (const ipc::MGroupStation& station : group.stations()) {
    table.Add({station.serial_number(), FormatAddress(station), FormatState(station.state()),
               FormatPhases(station), FormatCurrent(station, station.limit()),
               FormatCurrent(station, station.drawn().r()), FormatCurrent(station, station.drawn().s()),
               FormatCurrent(station, station.drawn().t()), FormatTenths(station.fallback()),
               station.has_heard_ago_ms() ? FormatAge(Milliseconds(station.heard_ago_ms())) : kNothing});
  }
  return FormatHead(group) + table.Format();
}
