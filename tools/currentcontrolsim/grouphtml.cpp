#include "tools/currentcontrolsim/grouphtml.h"

#include <string>
#include <string_view>

#include <fmt/format.h>

#include "tools/currentcontrolsim/groupsummary.h"
#include "tools/currentcontrolsim/reportdata.h"

namespace {

std::string Columns(const SSimulatedGroup& group) {
  using Point = const SSimulatedGroup::SPoint&;
  ReportData::CColumns columns;
  const auto add = [&](std::string_view name, const auto& valueOf) {
    columns.Add(name, group.points, valueOf);
  };
  add("seconds", [](Point point) { return point.at.count() / 1000; });
  for (std::size_t phase = 0; phase < LbPhaseCurrents{}.size(); ++phase) {
    const char name = "rst"[phase];
    add(fmt::format("capacity_{}", name), [phase](Point point) { return point.capacity[phase]; });
    add(fmt::format("atmost_{}", name), [phase](Point point) { return point.mayDraw[phase]; });
    add(fmt::format("drawn_{}", name), [phase](Point point) { return point.drawn[phase]; });
  }
  for (std::size_t i = 0; i < group.stations.size(); ++i) {
    add(fmt::format("limit{}", i), [i](Point point) { return point.stations[i].limit; });
    add(fmt::format("drawn{}", i), [i](Point point) { return point.stations[i].drawn; });
    add(fmt::format("state{}", i), [i](Point point) { return point.stations[i].state; });
  }
  return columns.ToText();
}

Json::Value Texts(const SSimulatedGroup& group) {
  Json::Value texts(Json::objectValue);
  texts["title"] = group.title;
  texts["about"] = group.about;
  texts["timelabel"] = "Time of day";
  texts["facts"] = ReportData::ToJson(GroupSummary::Facts(group));
  texts["violations"] = ReportSummary::ToJson(group.violations);
  texts["stations"] = GroupSummary::ToJson(group.stations);
  texts["failures"] = GroupSummary::ToJson(group.troubles);
  texts["states"] = ReportData::List(SSimulatedGroup::kStates);
  return texts;
}

}  // namespace

void WriteHtml(std::ostream& out, const SSimulatedGroup& group) {
  ReportData::WritePage(out, Texts(group), Columns(group));
}
