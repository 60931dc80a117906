#include "tools/currentcontrolsim/simulate.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "platform/log/logcapture.h"
#include "platform/utility/jsontext.h"
#include "simulation/dayplan.h"
#include "simulation/scenario.h"
#include "tools/currentcontrolsim/dayscenario.h"
#include "tools/currentcontrolsim/runrecorder.h"
#include "tools/currentcontrolsim/scenariorun.h"
#include "tools/currentcontrolsim/stationfiles.h"

namespace {

std::string ReadDescription(IFiles& files, const std::filesystem::path& path) {
  std::string text;
  Json::Value object(Json::objectValue);
  files.Read(path, text);
  JsonText::ParseObject(text, object);  // it was a scenario a moment ago
  return object["description"].isString() ? object["description"].asString() : "";
}

/// What somebody's settings led to may be said there alone.
std::vector<std::string> EachOnce(const CLogCapture& log) {
  constexpr std::size_t kMost = 20;
  std::vector<std::string> texts;
  for (const auto& line : log.Lines()) {
    if (texts.size() < kMost && std::ranges::find(texts, line.text) == texts.end())
      texts.push_back(line.text);
  }
  return texts;
}

SSimulatedRun PlayAt(const CVirtualStation::SFiles& station, const SScenario& scenario, Milliseconds length,
                     Milliseconds step) {
  SSimulatedRun run;
  const CLogCapture log(Log::ELogLevel::Warning);
  CRunRecorder recorder(run, step);
  CScenarioRun player(station, [&recorder](const SStationMoment& moment) { recorder.Take(moment); });
  run.totals = player.Play(scenario, length);
  run.warnings = EachOnce(log);
  return run;
}

/// Without rules: they know what station the day has made up, and this is another one.
SSimulatedRun PlayAtAnotherStation(IFiles& files, const SSimOptions& options, const SDayPlan& plan) {
  const auto station = ReadStationFiles(
      files, options, {.hwinfo = plan.Hwinfo(), .settings = plan.Settings(plan.settings), .secrets = ""});
  // Somebody's own settings stay what they are.
  Json::Value kept = options.overrides;
  if (!options.settings.empty())
    JsonText::ParseObject(fmt::format("{{{}}}", plan.settings.ToJsonMembers()), kept);
  return PlayAt(station, ToScenario(plan, station, kept), kDay, options.step);
}

SSimulatedRun PlayWithRules(SDayPlan plan, Milliseconds step) {
  SSimulatedRun run;
  run.hasRules = true;
  const CLogCapture silence(Log::ELogLevel::Critical);
  CRunRecorder recorder(run, step);
  CStationDay day(
      std::move(plan), [&recorder](const SStationMoment& moment) { recorder.Take(moment); },
      CStationDay::kCheckPeriod);
  CStationDay::SOutcome outcome = day.Play();
  run.totals = outcome.totals;
  run.violations = std::move(outcome.violations);
  return run;
}

}  // namespace

SSimulatedRun Simulate::Scenario(IFiles& files, const SSimOptions& options) {
  const SScenario scenario = LoadScenario(files, options.scenario);
  const auto station = ReadStationFiles(files, options, UsualStationFiles());
  const Milliseconds length = options.length.value_or(CScenarioRun::UsualLength(scenario));
  SSimulatedRun run = PlayAt(station, scenario, length, options.step);
  run.title = fmt::format("Scenario {}", options.scenario.stem().string());
  run.about = ReadDescription(files, options.scenario);
  return run;
}

SSimulatedRun Simulate::Day(IFiles& files, const SSimOptions& options, std::uint64_t seed) {
  const SDayPlan plan = SDayPlan::Make(seed);
  const bool isOwn = options.hwinfo.empty() && options.settings.empty() && options.overrides.empty();
  SSimulatedRun run = isOwn ? PlayWithRules(plan, options.step) : PlayAtAnotherStation(files, options, plan);
  run.title = fmt::format("A made-up day, seed {}{}", seed, isOwn ? "" : ", at another station");
  run.about = isOwn ? plan.Summary() : fmt::format("made up for: {}", plan.Summary());
  run.isDay = true;
  return run;
}
