#include "tools/currentcontrolsim/simulate.h"

#include <fmt/format.h>

#include "platform/log/logcapture.h"
#include "platform/utility/jsontext.h"
#include "simulation/scenario.h"
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

}  // namespace

SSimulatedRun Simulate::Scenario(IFiles& files, const SSimOptions& options) {
  const SScenario scenario = LoadScenario(files, options.scenario);
  const auto stationFiles = ReadStationFiles(files, options, UsualStationFiles());
  SSimulatedRun run{.title = fmt::format("Scenario {}", options.scenario.stem().string()),
                    .about = ReadDescription(files, options.scenario)};
  const CLogCapture silence(Log::ELogLevel::Critical);
  CRunRecorder recorder(run, options.step);
  CScenarioRun player(stationFiles, [&recorder](const SStationMoment& moment) { recorder.Take(moment); });
  run.outcome = player.Play(scenario, options.length.value_or(CScenarioRun::UsualLength(scenario)));
  return run;
}

SSimulatedRun Simulate::Day(IFiles&, const SSimOptions& options, std::uint64_t seed) {
  SDayPlan plan = SDayPlan::Make(seed);
  SSimulatedRun run{
      .title = fmt::format("A made-up day, seed {}", seed), .about = plan.Summary(), .isDay = true};
  const CLogCapture silence(Log::ELogLevel::Critical);
  CRunRecorder recorder(run, options.step);
  CStationDay day(
      std::move(plan), [&recorder](const SStationMoment& moment) { recorder.Take(moment); },
      CStationDay::kCheckPeriod);
  run.outcome = day.Play();
  return run;
}
