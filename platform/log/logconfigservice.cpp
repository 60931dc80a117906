#include "ipc/logconfig.service.h"

#include "platform/log/log.h"

namespace {

class CLogConfigService final : public ipc::ILogConfig {
 public:
  ipc::MLogConfig GetLogConfig(const ipc::MEmpty&) override {
    ipc::MLogConfig config;
    config.set_level(static_cast<std::uint32_t>(Log::GetLogLevel()));
    config.set_console_logging(Log::mConsoleLoggingEnabled);
    return config;
  }

  ipc::MResult SetLogConfig(const ipc::MLogConfig& config) override {
    ipc::MResult result;
    if (config.level() > static_cast<std::uint32_t>(Log::ELogLevel::Critical)) {
      LOG_WARNING("Log level {} does not exist, levels are 0 (trace) to 5 (critical); nothing is changed",
                  config.level());
      result.set_code(1);
      return result;
    }
    Log::SetLogLevel(static_cast<Log::ELogLevel>(config.level()));
    Log::EnableConsoleLogging(config.console_logging());
    return result;
  }
};

}  // namespace

std::shared_ptr<ipc::ILogConfig> Log::CreateLogConfigService() {
  return std::make_shared<CLogConfigService>();
}
