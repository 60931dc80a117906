#pragma once

#include <memory>
#include <string>

namespace spdlog::sinks {
class sink;
}

/// The two places that log lines go to. They stand apart from log.h because <syslog.h> claims the names
/// LOG_INFO, LOG_DEBUG and so on for itself.
namespace LogDetail {

/// Standard error, coloured where it is a terminal.
std::shared_ptr<spdlog::sinks::sink> CreateConsoleSink();

/// The system log, under the process's name.
std::shared_ptr<spdlog::sinks::sink> CreateSyslogSink(const std::string& processName);

}  // namespace LogDetail
