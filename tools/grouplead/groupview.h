#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ipc/currentcontrol.pb.h"

#include "simulation/scriptedleader.h"

/// What is known of a group, all from about one moment.
struct SGroupView {
  struct SStation {
    CScriptedLeader::SRow row;
    bool isWatched = false;                              ///< asked for its own view
    std::optional<ipc::MCurrentControlLimits> limits{};  ///< none: it did not answer
  };
  std::string medium{};  ///< for people: "group 7 on eth0"
  Milliseconds time{0};
  std::vector<SStation> stations{};
};

/// "led", "silent"
std::string FormatState(CScriptedLeader::EState state);
/// "16.0" and the unit, and "0.0 A, to find phases" where that was asked for; "-" when nothing was told.
std::string FormatTold(const CScriptedLeader::SRow& row, std::string_view unit);
/// Its setpoint, as it says itself, in A: "3 x 6.0 by Group load balancing"
std::string FormatOwn(const SGroupView::SStation& station);
/// A table with a row for each station; ends with a line end.
std::string FormatGroup(const SGroupView& view);
/// The same for programs, in one line without a line end.
std::string GroupToJson(const SGroupView& view);
