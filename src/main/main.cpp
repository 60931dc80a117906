#include <cstdlib>
#include <iostream>
#include <memory>

#include "platform/log/log.h"
#include "platform/rpc/appcommunicationhost.h"
#include "platform/rpc/grpcbackend.h"
#include "platform/rpc/kologger.h"
#include "platform/utility/posixfiles.h"
#include "platform/utility/signalwatcher.h"
#include "platform/worker/realscheduler.h"
#include "src/components/loadbalancing/realgroupaccess.h"
#include "src/components/measurementsources/realmeteraccess.h"
#include "src/currentcontrol/currentcontrol.h"
#include "src/main/commandline.h"
#include "src/main/terminatehandler.h"

int main(int argc, char* argv[]) {
  Log::Init("Currentcontrol", Log::ELogLevel::Info);
  InstallTerminateHandler();

  const auto commandLine = ParseCommandLine(argc, argv, std::cout);
  if (!commandLine) return EXIT_FAILURE;

  Rpc::GrpcBackend::SetLogger(std::make_shared<Rpc::KoLogger>());
  CSignalWatcher::Block();
  CRealScheduler scheduler;
  CPosixFiles files;
  Rpc::AppCommunicationHost<Rpc::GrpcBackend> host(Rpc::GrpcBackend(), files, commandLine->root);
  {
    CCurrentcontrol application(commandLine->root, {.scheduler = scheduler,
                                                    .files = files,
                                                    .host = host,
                                                    .meters = RealMeterAccess(scheduler, commandLine->root),
                                                    .group = RealGroupAccess(scheduler)});
    const CSignalWatcher signals([&application](int) { application.RequestTermination(); });
    application.Run();
  }
  return EXIT_SUCCESS;
}
