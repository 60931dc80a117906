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
  if (!lead.Run(*end)) {
    return Fail(kNobodyLed,
                "no station was ever led: do they have this group, password and network, and are "
                "they on?");
  }
  if (!std::cout || (journal && !*journal)) return Fail(kCannotRun, "not everything could be written");
  return kEnded;
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
