#include "tools/grouplead/groupview.h"

#include <array>

#include <fmt/format.h>

#include "platform/utility/jsontext.h"
#include "src/components/loadbalancing/lbserialnumber.h"
#include "tools/display/limitstable.h"
#include "tools/display/table.h"

namespace {

using SRow = CScriptedLeader::SRow;
using EState = CScriptedLeader::EState;

constexpr auto kNothing = "-";

constexpr std::array<CTable::SColumn, 11> kColumns{{{"STATION"},
                                                    {"ADDRESS"},
                                                    {"STATE"},
                                                    {"TOLD"},
                                                    {"R", true},
                                                    {"S", true},
                                                    {"T", true},
                                                    {"REPORT"},
                                                    {"HEARD", true},
                                                    {"FALLBACK", true},
                                                    {"ITS OWN SETPOINT"}}};

/// Whether the newest answer still tells what is so.
bool IsAnswering(const SRow& row) {
  return row.drawnMilliAmpere && row.state == EState::Led;
}

std::string FormatDrawn(const SRow& row, std::size_t phase) {
  return IsAnswering(row) ? FormatTenths((*row.drawnMilliAmpere)[phase]) : kNothing;
}

std::vector<std::string> CellsOf(const SGroupView::SStation& station) {
  const SRow& row = station.row;
  return {ToText(row.serialNumber),
          row.address.empty() ? kNothing : row.address,
          FormatState(row.state),
          FormatTold(row, ""),
          FormatDrawn(row, 0),
          FormatDrawn(row, 1),
          FormatDrawn(row, 2),
          IsAnswering(row) ? fmt::format("0x{:02x}", row.report) : kNothing,
          row.heardAgo ? FormatAge(*row.heardAgo) : kNothing,
          row.fallbackMilliAmpere ? FormatTenths(*row.fallbackMilliAmpere) : kNothing,
          station.isWatched ? FormatOwn(station) : ""};
}

Json::Value ToJson(const SGroupView::SStation& station) {
  const SRow& row = station.row;
  Json::Value json;
  json["serial"] = ToText(row.serialNumber);
  json["address"] = row.address;
  json["state"] = FormatState(row.state);
  if (row.heardAgo) json["heard_ms_ago"] = Json::Int64{row.heardAgo->count()};
  if (row.toldMilliAmpere) json["told_milliampere"] = *row.toldMilliAmpere;
  json["phase_discovery"] = row.isPhaseDiscovery;
  if (row.drawnMilliAmpere) {
    for (const std::uint32_t drawn : *row.drawnMilliAmpere) json["drawn_milliampere"].append(drawn);
    json["report"] = row.report;
  }
  if (row.fallbackMilliAmpere) json["fallback_milliampere"] = *row.fallbackMilliAmpere;
  if (station.limits) {
    json["setpoint_milliampere"] = station.limits->setpoint().limit();
    json["setpoint_phases"] = station.limits->setpoint().number_of_phases();
    json["current_source"] = FormatSource(station.limits->current_source());
  }
  return json;
}

}  // namespace

std::string FormatState(EState state) {
  switch (state) {
    case EState::Missing:
      return "missing";
    case EState::Found:
      return "found";
    case EState::Led:
      return "led";
    case EState::Silent:
      return "silent";
    case EState::LeftAlone:
      break;
  }
  return "left alone";
}

std::string FormatTold(const SRow& row, std::string_view unit) {
  if (!row.toldMilliAmpere) return kNothing;
  return fmt::format("{}{}{}", FormatTenths(*row.toldMilliAmpere), unit,
                     row.isPhaseDiscovery ? ", to find phases" : "");
}

std::string FormatOwn(const SGroupView::SStation& station) {
  if (!station.limits) return "does not answer";
  const auto& setpoint = station.limits->setpoint();
  if (setpoint.limit() < 0) return "none yet";
  return fmt::format("{} x {} by {}", setpoint.number_of_phases(),
                     FormatTenths(static_cast<std::uint32_t>(setpoint.limit())),
                     FormatSource(station.limits->current_source()));
}

std::string FormatGroup(const SGroupView& view) {
  CTable table(kColumns);
  for (const SGroupView::SStation& station : view.stations) table.Add(CellsOf(station));
  return fmt::format("{}, {}; currents in A\n{}{}", FormatSpan(view.time), view.medium, table.Format(),
                     view.stations.empty() ? "no station has been found yet\n" : "");
}

std::string GroupToJson(const SGroupView& view) {
  Json::Value json;
  json["time_ms"] = Json::Int64{view.time.count()};
  json["stations"] = Json::arrayValue;
  for (const SGroupView::SStation& station : view.stations) json["stations"].append(ToJson(station));
  return JsonText::ToLine(json);
}
