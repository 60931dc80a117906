#pragma once

#include "platform/rpc/logger.h"

namespace Rpc {

/// Writes an RPC backend's log into the process's log, each line as "[RPC] {}". Any thread.
class KoLogger final : public ILogger {
 public:
  void Critical(const std::string& message) override;
  void Error(const std::string& message) override;
  void Warning(const std::string& message) override;
  void Info(const std::string& message) override;
  void Debug(const std::string& message) override;
  void Trace(const std::string& message) override;
};

}  // namespace Rpc
