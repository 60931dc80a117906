#include <iostream>
#include <memory>
#include <utility>

#include <unistd.h>

#include "platform/log/log.h"
#include "platform/rpc/appcommunicationhost.h"
#include "platform/rpc/grpcbackend.h"
#include "platform/rpc/kologger.h"
#include "platform/utility/posixfiles.h"
#include "platform/utility/signalwatcher.h"
#include "platform/worker/realscheduler.h"
#include "simulation/strictjson.h"
#include "tools/display/options.h"
#include "tools/stationsim/stationoptions.h"
#include "tools/stationsim/stationsimulator.h"

namespace {

enum EExit : int { kEnded = 0, kCannotRun = 1, kWrongUsage = 2 };

int Fail(EExit exit, const std::exception& error) {
  std::cerr << "stationsim: " << error.what() << '\n';
  return exit;
}

void Run(const SStationOptions& options) {
  CRealScheduler scheduler;
  const auto end = scheduler.CreateEvent();
  const CSignalWatcher signals([&end](int) { end->Set(); });
  CPosixFiles files;
  CStationSimulator::SSettings settings;
  if (!options.scenario.empty()) settings.scenario = LoadScenario(files, options.scenario);
  settings.root = options.root;
  settings.meters = options.meters;
  settings.fuseMilliAmpere = options.fuseAmpere * std::uint32_t{kMilliAmperePerAmpere};
  settings.runFor = options.runFor;
  settings.table = options.table;
  settings.isTerminal = isatty(STDOUT_FILENO) == 1;

  Log::Init("stationsim", Log::ELogLevel::Warning);
  // Lines of the log would stand in the middle of the table.
  if (settings.table && settings.isTerminal) Log::EnableConsoleLogging(false);
  Rpc::GrpcBackend::SetLogger(std::make_shared<Rpc::KoLogger>());
  Rpc::AppCommunicationHost<Rpc::GrpcBackend> host(Rpc::GrpcBackend(), files, options.root);
  CStationSimulator(std::move(settings), scheduler, host, std::cout).Run(*end);
}

}  // namespace

int main(int argc, char* argv[]) {
  try {
    const SStationOptions options = ReadStationOptions({argv, static_cast<std::size_t>(argc)});
    if (options.help) {
      std::cout << StationHelp();
    } else {
      Run(options);
    }
    return kEnded;
  } catch (const CUsageError& error) {
    return Fail(kWrongUsage, error);
  } catch (const CFileError& error) {
    return Fail(kWrongUsage, error);
  } catch (const Rpc::CStartError& error) {
    return Fail(kCannotRun, error);
  }
}
