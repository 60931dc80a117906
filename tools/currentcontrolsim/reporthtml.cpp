#include "tools/currentcontrolsim/reporthtml.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "platform/utility/jsontext.h"
#include "tools/currentcontrolsim/momentnames.h"
#include "tools/currentcontrolsim/reportpage.h"
#include "tools/currentcontrolsim/reportsummary.h"

namespace {

/// mA; a phase that is used carries more.
constexpr std::uint32_t kUsedMilliAmpere = 1000;

/// Columns hold the first value and then the differences, most of which are short.
template <class TValueOf>
void AddColumn(std::string& text, const SSimulatedRun& run, std::string_view name, const TValueOf& valueOf) {
  fmt::format_to(std::back_inserter(text), "{}\"{}\":[", text.back() == '{' ? "" : ",\n", name);
  std::int64_t last = 0;
  for (const SStationMoment& moment : run.moments) {
    const auto value = static_cast<std::int64_t>(valueOf(moment));
    if (text.back() != '[') text += ',';
    fmt::format_to(std::back_inserter(text), "{}", value - last);
    last = value;
  }
  text += ']';
}

std::string Columns(const SSimulatedRun& run) {
  using Moment = const SStationMoment&;
  std::string text = "{";
  AddColumn(text, run, "seconds", [](Moment moment) { return moment.at.count() / 1000; });
  for (std::size_t i = 0; i < SStationMoment{}.house.size(); ++i) {
    AddColumn(text, run, fmt::format("house{}", i + 1), [i](Moment moment) { return moment.house[i]; });
  }
  AddColumn(text, run, "fuse", [](Moment moment) { return moment.fuseMilliAmpere; });
  AddColumn(text, run, "roof", [](Moment moment) { return moment.generationWatt; });
  AddColumn(text, run, "household", [](Moment moment) { return moment.loadWatt; });
  AddColumn(text, run, "vehicle", [](Moment moment) { return moment.vehicleWatt; });
  AddColumn(text, run, "surplus", [](Moment moment) { return moment.surplusWatt; });
  AddColumn(text, run, "setpointpower", [](Moment moment) { return moment.setpointWatt; });
  AddColumn(text, run, "setpoint", [](Moment moment) { return moment.setpointMilliAmpere; });
  AddColumn(text, run, "phases", [](Moment moment) { return moment.setpointPhases; });
  AddColumn(text, run, "vehiclephases", [](Moment moment) {
    return std::ranges::count_if(moment.vehicle, [](auto each) { return each > kUsedMilliAmpere; });
  });
  AddColumn(text, run, "source", [](Moment moment) { return moment.source; });
  AddColumn(text, run, "phasesource", [](Moment moment) { return moment.phaseSource; });
  AddColumn(text, run, "vehiclestate", [](Moment moment) { return moment.vehicleState; });
  AddColumn(text, run, "cable", [](Moment moment) { return moment.cable; });
  return text + "}";
}

Json::Value Facts(const SSimulatedRun& run) {
  using EState = ReportSummary::SFact::EState;
  Json::Value list(Json::arrayValue);
  for (const auto& fact : ReportSummary::Facts(run)) {
    Json::Value& entry = list.append(Json::objectValue);
    entry["name"] = std::string(fact.name);
    entry["value"] = fact.value;
    entry["detail"] = fact.detail;
    if (fact.state != EState::Neutral) entry["state"] = fact.state == EState::Held ? "held" : "violated";
  }
  return list;
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

template <class TNames>
Json::Value List(const TNames& names) {
  Json::Value list(Json::arrayValue);
  for (const auto& name : names) list.append(std::string(name));
  return list;
}

std::string Texts(const SSimulatedRun& run) {
  Json::Value texts(Json::objectValue);
  texts["title"] = run.title;
  texts["about"] = run.about;
  texts["timelabel"] = run.isDay ? "Time of day" : "Time since the start";
  texts["facts"] = Facts(run);
  texts["violations"] = ReportSummary::ToJson(run.violations);
  texts["sources"] = Sources(run);
  texts["vehiclestates"] = List(MomentNames::kVehicleStates);
  texts["cables"] = List(MomentNames::kCables);
  return JsonText::ToLine(texts);
}

/// Nothing in a text may end the element that it stands in.
std::string ForScriptElement(std::string_view json) {
  std::string text;
  for (const char each : json) each == '<' ? text += "\\u003c" : text += each;
  return text;
}

}  // namespace

void WriteHtml(std::ostream& out, const SSimulatedRun& run) {
  for (const std::string_view piece : ReportPage::Head()) out << piece;
  const std::string texts = ForScriptElement(Texts(run));
  out << std::string_view(texts).substr(0, texts.size() - 1) << ",\n\"columns\":" << Columns(run) << '}';
  for (const std::string_view piece : ReportPage::Tail()) out << piece;
}
