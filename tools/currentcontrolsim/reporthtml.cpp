#include "tools/currentcontrolsim/reporthtml.h"

#include <algorithm>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "tools/currentcontrolsim/momentnames.h"
#include "tools/currentcontrolsim/reportdata.h"
#include "tools/currentcontrolsim/reportsummary.h"

namespace {

/// mA; a phase that is used carries more.
constexpr std::uint32_t kUsedMilliAmpere = 1000;

std::string Columns(const SSimulatedRun& run) {
  using Moment = const SStationMoment&;
  ReportData::CColumns columns;
  const auto add = [&](std::string_view name, const auto& valueOf) {
    columns.Add(name, run.moments, valueOf);
  };
  add("seconds", [](Moment moment) { return moment.at.count() / 1000; });
  for (std::size_t i = 0; i < SStationMoment{}.house.size(); ++i) {
    add(fmt::format("house{}", i + 1), [i](Moment moment) { return moment.house[i]; });
  }
  add("fuse", [](Moment moment) { return moment.fuseMilliAmpere; });
  add("roof", [](Moment moment) { return moment.generationWatt; });
  add("household", [](Moment moment) { return moment.loadWatt; });
  add("vehicle", [](Moment moment) { return moment.vehicleWatt; });
  add("surplus", [](Moment moment) { return moment.surplusWatt; });
  add("setpointpower", [](Moment moment) { return moment.setpointWatt; });
  add("setpoint", [](Moment moment) { return moment.setpointMilliAmpere; });
  add("phases", [](Moment moment) { return moment.setpointPhases; });
  add("vehiclephases", [](Moment moment) {
    return std::ranges::count_if(moment.vehicle, [](auto each) { return each > kUsedMilliAmpere; });
  });
  add("source", [](Moment moment) { return moment.source; });
  add("phasesource", [](Moment moment) { return moment.phaseSource; });
  add("vehiclestate", [](Moment moment) { return moment.vehicleState; });
  add("cable", [](Moment moment) { return moment.cable; });
  return columns.ToText();
}

/// Of those that decide at some moment, by their numbers.
Json::Value Sources(const SSimulatedRun& run) {
  Json::Value names(Json::objectValue);
  for (const SStationMoment& moment : run.moments) {
    for (const auto source : {moment.source, moment.phaseSource}) {
      Json::Value& name = names[std::to_string(static_cast<int>(source))];
      if (name.isNull()) name = MomentNames::OfSource(source);
    }
  }
  return names;
}

Json::Value Texts(const SSimulatedRun& run) {
  Json::Value texts(Json::objectValue);
  texts["title"] = run.title;
  texts["about"] = run.about;
  texts["timelabel"] = run.isDay ? "Time of day" : "Time since the start";
  texts["facts"] = ReportData::ToJson(ReportSummary::Facts(run));
  texts["violations"] = ReportSummary::ToJson(run.violations);
  texts["sources"] = Sources(run);
  texts["vehiclestates"] = ReportData::List(MomentNames::kVehicleStates);
  texts["cables"] = ReportData::List(MomentNames::kCables);
  return texts;
}

}  // namespace

void WriteHtml(std::ostream& out, const SSimulatedRun& run) {
  ReportData::WritePage(out, Texts(run), Columns(run));
}
