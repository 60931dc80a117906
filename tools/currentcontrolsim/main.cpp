#include <chrono>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iostream>

#include <fmt/ostream.h>
#include <unistd.h>

#include "platform/utility/jsontext.h"
#include "platform/utility/posixfiles.h"
#include "simulation/groupday.h"
#include "simulation/strictjson.h"
#include "tools/currentcontrolsim/groupcsv.h"
#include "tools/currentcontrolsim/grouphtml.h"
#include "tools/currentcontrolsim/groupsummary.h"
#include "tools/currentcontrolsim/manydays.h"
#include "tools/currentcontrolsim/reportcsv.h"
#include "tools/currentcontrolsim/reporthtml.h"
#include "tools/currentcontrolsim/reportsummary.h"
#include "tools/currentcontrolsim/simulate.h"
#include "tools/currentcontrolsim/simulategroup.h"
#include "tools/display/options.h"

namespace {

enum EExit : int { kGood = 0, kBroken = 1, kWrongUsage = 2 };

template <class TWrite>
void WriteFile(const std::filesystem::path& path, const TWrite& write) {
  if (path.empty()) return;
  std::ofstream out(path, std::ios::binary);
  write(out);
  out.close();
  if (!out) throw CFileError(fmt::format("{}: cannot be written", path.string()));
}

template <class TRun>
void WriteFiles(const SSimOptions& options, const TRun& run) {
  WriteFile(options.csv, [&run](std::ostream& out) { WriteCsv(out, run); });
  WriteFile(options.html, [&run](std::ostream& out) { WriteHtml(out, run); });
}

EExit RunOnce(const SSimOptions& options) {
  CPosixFiles files;
  const SSimulatedRun run = options.scenario.empty() ? Simulate::Day(files, options, options.seed)
                                                     : Simulate::Scenario(files, options);
  for (const std::string& warning : run.warnings) std::cerr << "current control warns: " << warning << '\n';
  WriteFiles(options, run);
  std::cout << (options.json ? JsonText::ToLine(ReportSummary::ToJson(run)) + "\n"
                             : ReportSummary::ToText(run));
  return run.IsGood() ? kGood : kBroken;
}

EExit RunDays(const SSimOptions& options) {
  CPosixFiles files;
  CManyDays days(*options.days, std::cerr, isatty(STDERR_FILENO) == 1);
  for (std::uint64_t i = 0; i < *options.days; ++i)
    days.Add(options.seed + i, Simulate::Day(files, options, options.seed + i));
  std::cout << (options.json ? JsonText::ToLine(days.ToJson()) + "\n" : days.ToText());
  return days.IsGood() ? kGood : kBroken;
}

EExit RunGroup(const SSimOptions& options) {
  const SGroupPlan plan = GroupDay::Make(options.seed, options.group);
  const auto show = [&plan](std::int64_t hours) {
    const auto all = std::chrono::duration_cast<std::chrono::hours>(plan.length).count();
    fmt::print(std::cerr, "{} of {} h{}", hours, all, hours == all ? '\n' : '\r');
    std::cerr.flush();
  };
  const bool isTerminal = isatty(STDERR_FILENO) == 1;
  const SSimulatedGroup group =
      Simulate::Group(plan, options.step, isTerminal ? show : std::function<void(std::int64_t)>());
  WriteFiles(options, group);
  std::cout << (options.json ? JsonText::ToLine(GroupSummary::ToJson(group)) + "\n"
                             : GroupSummary::ToText(group));
  return group.IsGood() ? kGood : kBroken;
}

EExit Run(const SSimOptions& options) {
  if (options.group != 0) return RunGroup(options);
  return options.days ? RunDays(options) : RunOnce(options);
}

EExit Fail(const std::exception& error) {
  std::cerr << "currentcontrolsim: " << error.what() << '\n';
  return kWrongUsage;
}

}  // namespace

int main(int argc, char* argv[]) {
  try {
    const SSimOptions options = ReadSimOptions({argv, static_cast<std::size_t>(argc)});
    if (!options.help) return Run(options);
    std::cout << SimHelp();
    return kGood;
  } catch (const CUsageError& error) {
    return Fail(error);
  } catch (const CFileError& error) {
    return Fail(error);
  }
}
