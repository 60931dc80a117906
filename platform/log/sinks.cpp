#include "platform/log/sinks.h"

#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/sinks/syslog_sink.h>

namespace LogDetail {

std::shared_ptr<spdlog::sinks::sink> CreateConsoleSink() {
  auto sink = std::make_shared<spdlog::sinks::stderr_color_sink_mt>();
  sink->set_pattern("[%Y-%m-%d %H:%M:%S.%e] [%n] [%^%l%$] %v");
  return sink;
}

std::shared_ptr<spdlog::sinks::sink> CreateSyslogSink(const std::string& processName) {
  constexpr int kNoOptions = 0;
  constexpr bool kWithPattern = true;
  auto sink =
      std::make_shared<spdlog::sinks::syslog_sink_mt>(processName, kNoOptions, LOG_DAEMON, kWithPattern);
  sink->set_pattern("[%l] %v");
  return sink;
}

}  // namespace LogDetail
