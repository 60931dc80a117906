#pragma once

#include <string>
#include <string_view>

#include "ipc/currentcontrol.pb.h"

/// "leader", "follower" or "none"; "unknown (9)" for a number without a name, as of states.
std::string FormatRole(ipc::EGroupRole role);
/// "led", "silent"
std::string FormatState(ipc::EGroupStationState state);

/// What the station is in its group, what there is and what is given out, and a row for each station that it
/// knows; one line for a station that is in no group. Ends with a line end.
std::string FormatGroup(const ipc::MGroup& group);
