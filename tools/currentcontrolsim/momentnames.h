#pragma once

#include <array>
#include <string>
#include <string_view>

#include "ipc/currentcontrol.pb.h"

/// What people call what a moment shows.
namespace MomentNames {

/// By CVehicle::EState.
inline constexpr std::array<std::string_view, 4> kVehicleStates{"absent", "connected", "charging", "full"};
/// By ipc::EPpState.
inline constexpr std::array<std::string_view, 7> kCables{"none",    "13 A",  "20 A",   "32 A",
                                                         "63/70 A", "error", "invalid"};

/// The display name; "nobody yet" while nobody decides.
std::string OfSource(ipc::ECurrentControlSource source);

}  // namespace MomentNames
