#include <fstream>
#include <iostream>
#include <memory>
#include <utility>

#include <fmt/format.h>

#include "platform/log/log.h"
#include "platform/rpc/appcommunicationhost.h"
#include "platform/rpc/grpcbackend.h"
#include "platform/rpc/kologger.h"
#include "platform/utility/posixfiles.h"
#include "platform/utility/signalwatcher.h"
#include "platform/worker/realscheduler.h"
#include "simulation/strictjson.h"
#include "src/components/loadbalancing/realgroupaccess.h"
#include "tools/display/options.h"
#include "tools/grouplead/grouplead.h"
#include "tools/grouplead/groupleadoptions.h"

namespace {

enum EExit : int { kEnded = 0, kCannotRun = 1, kWrongUsage = 2, kNobodyLed = 3 };

int Fail(EExit exit, std::string_view problem) {
  std::cerr << "grouplead: " << problem << '\n';
  return exit;
}

/// A line for each station that was not led as it should, and the status.
int Report(const CGroupLead::SOutcome& outcome, bool isOnLine) {
  const EExit exit = outcome.hasLed ? kEnded : kNobodyLed;
  for (const LbSerialNumber& serialNumber : outcome.neverHeard) {
    Fail(exit, fmt::format("{} was never heard: is it on, and does it have this {}?", ToText(serialNumber),
                           isOnLine ? "line" : "group, password and network"));
  }
  for (const LbSerialNumber& serialNumber : outcome.neverAnswered) {
    Fail(exit, fmt::format("{} was found but never answered a limit{}", ToText(serialNumber),
                           isOnLine ? "" : ": can this machine's unicasts reach it?"));
  }
  if (outcome.hasLed || !outcome.neverHeard.empty() || !outcome.neverAnswered.empty()) return exit;
  return Fail(exit,
              "no station was ever led: do they have this group, password and network, and are they on?");
}

CGroupLead::SSettings SettingsOf(const SGroupLeadOptions& options, IScheduler& scheduler, IFiles& files) {
  const bool isOnLine = options.adapter.empty();
  CGroupLead::SSettings settings{
      .medium = isOnLine ? options.line : fmt::format("group {} on {}", options.group, options.adapter),
      .leader = {.medium = isOnLine ? CScriptedLeader::EMedium::Line : CScriptedLeader::EMedium::Network,
                 .stations = options.members,
                 .milliAmpere = options.milliAmpere},
      .runFor = options.runFor,
      .json = options.json,
      .tablePeriod = options.tablePeriod};
  if (!options.script.empty()) settings.leader.script = LoadLeaderScript(files, options.script);
  for (const auto& root : options.stations) {
    settings.watches.push_back(std::make_unique<CStationWatch>(
        scheduler, files, root,
        std::make_unique<Rpc::AppCommunicationHost<Rpc::GrpcBackend>>(Rpc::GrpcBackend(), files, root)));
  }
  return settings;
}

std::unique_ptr<std::ostream> OpenJournal(const std::filesystem::path& path) {
  if (path.empty()) return nullptr;
  auto journal = std::make_unique<std::ofstream>(path);
  if (!*journal) throw CCannotLead(fmt::format("journal {} cannot be written", path.string()));
  return journal;
}

int Run(const SGroupLeadOptions& options) {
  CRealScheduler scheduler;
  const auto end = scheduler.CreateEvent();
  const CSignalWatcher signals([&end](int) { end->Set(); });
  Log::Init("grouplead", Log::ELogLevel::Warning);
  Rpc::GrpcBackend::SetLogger(std::make_shared<Rpc::KoLogger>());
  CPosixFiles files;
  auto settings = SettingsOf(options, scheduler, files);
  const SGroupAccess access = RealGroupAccess(scheduler);
  auto medium = CreateLeaderMedium(options, scheduler, files, access);
  const auto journal = OpenJournal(options.journal);
  CGroupLead lead(scheduler, std::move(medium), std::move(settings), std::cout, journal.get());
  const int exit = Report(lead.Run(*end), options.adapter.empty());
  if (!std::cout || (journal && !*journal)) return Fail(kCannotRun, "not everything could be written");
  return exit;
}

}  // namespace

int main(int argc, char* argv[]) {
  try {
    const SGroupLeadOptions options = ReadGroupLeadOptions({argv, static_cast<std::size_t>(argc)});
    if (!options.help) return Run(options);
    std::cout << GroupLeadHelp();
    return kEnded;
  } catch (const CUsageError& error) {
    return Fail(kWrongUsage, error.what());
  } catch (const CFileError& error) {
    return Fail(kWrongUsage, error.what());
  } catch (const CCannotLead& error) {
    return Fail(kCannotRun, error.what());
  }
}
