#include "tools/grouplead/groupevents.h"

#include <utility>

#include <fmt/format.h>

#include "src/components/loadbalancing/lbserialnumber.h"
#include "tools/display/limitstable.h"

namespace {

std::string StateOf(const CScriptedLeader::SRow& row) {
  const std::string state = FormatState(row.state);
  return row.address.empty() ? state : fmt::format("{}, at {}", state, row.address);
}

std::string ToldOf(const CScriptedLeader::SRow& row) {
  return row.toldMilliAmpere ? fmt::format("is told {}", FormatTold(row, " A")) : "";
}

std::string OwnOf(const SGroupView::SStation& station) {
  return station.isWatched ? "its own setpoint: " + FormatOwn(station) : "";
}

}  // namespace

std::string CGroupEvents::Take(const SGroupView& view) {
  std::string text;
  for (const SGroupView::SStation& station : view.stations) {
    SKnown& known = mKnown[station.row.serialNumber];
    const auto tell = [&](std::string& before, std::string now) {
      if (std::exchange(before, now) == now || now.empty()) return;
      text += fmt::format("{}  {}  {}\n", FormatSpan(view.time), ToText(station.row.serialNumber), now);
    };
    tell(known.state, StateOf(station.row));
    tell(known.told, ToldOf(station.row));
    tell(known.own, OwnOf(station));
  }
  return text;
}
