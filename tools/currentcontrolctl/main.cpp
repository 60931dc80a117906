#include <iostream>
#include <utility>

#include <unistd.h>

#include "platform/log/log.h"
#include "platform/rpc/appcommunicationhost.h"
#include "platform/rpc/grpcbackend.h"
#include "platform/utility/posixfiles.h"
#include "platform/utility/signalwatcher.h"
#include "platform/worker/realscheduler.h"
#include "src/components/measurementsources/realmeteraccess.h"
#include "tools/currentcontrolctl/commands.h"
#include "tools/currentcontrolctl/ctloptions.h"
#include "tools/display/options.h"

namespace {

EExit Run(SCtlOptions options) {
  CRealScheduler scheduler;
  const auto stop = scheduler.CreateEvent();
  const CSignalWatcher signals([&stop](int) { stop->Set(); });
  // A peer that is away is told by the command itself, so that warnings would say it twice.
  Log::Init("currentcontrolctl", Log::ELogLevel::Error);
  CPosixFiles files;
  Rpc::AppCommunicationHost<Rpc::GrpcBackend> host(Rpc::GrpcBackend(), files, options.root);
  CSession session({.words = std::move(options.words),
                    .json = options.json,
                    .isTerminal = isatty(STDOUT_FILENO) == 1,
                    .root = options.root,
                    .list = options.list,
                    .wait = options.wait},
                   {.scheduler = scheduler,
                    .host = host,
                    .files = files,
                    .stop = *stop,
                    .in = std::cin,
                    .out = std::cout,
                    .err = std::cerr,
                    .meters = [&] { return RealMeterAccess(scheduler, options.root); }});
  return RunCommand(session);
}

}  // namespace

int main(int argc, char* argv[]) {
  try {
    SCtlOptions options = ReadCtlOptions({argv, static_cast<std::size_t>(argc)});
    if (!options.help) return static_cast<int>(Run(std::move(options)));
    std::cout << CtlHelp();
    return static_cast<int>(EExit::Success);
  } catch (const CUsageError& error) {
    std::cerr << "currentcontrolctl: " << error.what() << '\n';
    return static_cast<int>(EExit::Usage);
  }
}
