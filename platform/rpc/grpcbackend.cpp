#include "platform/rpc/grpcbackend.h"

#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <grpc/support/log.h>

#include "platform/rpc/grpcaddress.h"
#include "platform/rpc/grpcchannel.h"
#include "platform/rpc/grpceventloop.h"
#include "platform/rpc/grpcserver.h"
#include "platform/rpc/unixsocket.h"
#include "platform/rpc/unreachablechannel.h"
#include "platform/utility/mutex.h"

namespace Rpc {

namespace {

class CLoggerSlot {
 public:
  void Set(std::shared_ptr<ILogger> logger) {
    CMutexLock lock(mMutex);
    mLogger = std::move(logger);
  }
  std::shared_ptr<ILogger> Get() {
    CMutexLock lock(mMutex);
    return mLogger;
  }

 private:
  CMutex mMutex;
  std::shared_ptr<ILogger> mLogger GUARDED_BY(mMutex);
};

/// Never destroyed: gRPC's threads write to the log until the very end of the process.
CLoggerSlot& LoggerSlot() {
  static auto* const slot = new CLoggerSlot;
  return *slot;
}

void WriteGrpcLog(gpr_log_func_args* line) {
  const auto logger = LoggerSlot().Get();
  if (!logger) return;
  const std::string_view file = line->file;
  const auto message = fmt::format("{}:{}: {}", file.substr(file.rfind('/') + 1), line->line, line->message);
  switch (line->severity) {
    case GPR_LOG_SEVERITY_DEBUG:
      return logger->Debug(message);
    case GPR_LOG_SEVERITY_INFO:
      return logger->Info(message);
    case GPR_LOG_SEVERITY_ERROR:
      return logger->Error(message);
  }
}

}  // namespace

GrpcBackend::GrpcBackend() : mLoop(std::make_shared<CGrpcEventLoop>()) {}

void GrpcBackend::SetLogger(std::shared_ptr<ILogger> logger) {
  LoggerSlot().Set(std::move(logger));
  gpr_set_log_function(&WriteGrpcLog);
}

void GrpcBackend::CheckAddress(const std::string& address) {
  if (const auto path = UnixPathOf(address)) {
    PrepareUnixSocket(*path);
  } else {
    CGrpcServer(address, {});
  }
}

std::unique_ptr<GrpcBackend::IServer> GrpcBackend::Serve(
    const std::string& address, const std::vector<std::shared_ptr<CService>>& services) {
  return std::make_unique<CGrpcServer>(address, services);
}

std::unique_ptr<IChannel> GrpcBackend::Connect(const std::string& address) {
  if (const auto path = UnixPathOf(address); path && path->size() > kLongestSocketPath) {
    return std::make_unique<CUnreachableChannel>(
        fmt::format("the path of socket {} has {} characters, at most {} are possible", *path, path->size(),
                    kLongestSocketPath));
  }
  return std::make_unique<CGrpcChannel>(address, mLoop);
}

}  // namespace Rpc
