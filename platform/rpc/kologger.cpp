#include "platform/rpc/kologger.h"

#include "platform/log/log.h"

namespace Rpc {

void KoLogger::Critical(const std::string& message) {
  LOG_CRITICAL("[RPC] {}", message);
}

void KoLogger::Error(const std::string& message) {
  LOG_ERROR("[RPC] {}", message);
}

void KoLogger::Warning(const std::string& message) {
  LOG_WARNING("[RPC] {}", message);
}

void KoLogger::Info(const std::string& message) {
  LOG_INFO("[RPC] {}", message);
}

void KoLogger::Debug(const std::string& message) {
  LOG_DEBUG("[RPC] {}", message);
}

void KoLogger::Trace(const std::string& message) {
  LOG_TRACE("[RPC] {}", message);
}

}  // namespace Rpc
