#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include <fmt/core.h>

#include "platform/log/fixedtext.h"

namespace spdlog::sinks {
class sink;
}
namespace ipc {
class ILogConfig;
}

/// The process's log: two sinks, one level for both, and the LOG_ macros below as the only way to write a
/// line. Every function may be called from any thread once `Init` has returned.
class Log {
 public:
  /// Severity of a line; a level is enabled when it is at or above the level that is set.
  enum class ELogLevel : int { Trace = 0, Debug = 1, Info = 2, Warning = 3, Error = 4, Critical = 5 };

  /// Creates both sinks under the process's name. Call once, before any other thread exists.
  static void Init(const std::string& processName, ELogLevel level);

  static void SetLogLevel(ELogLevel level);
  static ELogLevel GetLogLevel();
  /// The next more talkative level; Trace stays Trace.
  static ELogLevel GetLowerLogLevel(ELogLevel level);

  /// Switches the console sink; the system log is always written.
  static void EnableConsoleLogging(bool enable);

  /// A type's mangled name in readable form; a name that is none comes back as it is.
  static std::string Demangle(const char* mangledName);

  /// The "CurrentControlLog" kind of service: reads and changes level and console logging of this process.
  static std::shared_ptr<ipc::ILogConfig> CreateLogConfigService();

  /// Whether a line of this level is written anywhere: one comparison.
  static bool IsEnabled(ELogLevel level) {
    return static_cast<int>(level) >= mLowestEnabledLevel.load(std::memory_order_relaxed);
  }

  /// Writes a line to the capture of this thread if there is one, else to the sinks. The LOG_ macros call
  /// `Write`.
  static void WriteChecked(ELogLevel level, fmt::string_view format, fmt::format_args arguments);

  template <typename... TArguments>
  static void Write(ELogLevel level, fmt::format_string<TArguments...> format, TArguments&&... arguments) {
    WriteChecked(level, fmt::string_view(format), fmt::make_format_args(arguments...));
  }

  static std::shared_ptr<spdlog::sinks::sink> mSyslogSink;
  static std::shared_ptr<spdlog::sinks::sink> mConsoleSink;
  static std::atomic<bool> mConsoleLoggingEnabled;

 private:
  friend class CLogCapture;

  /// The lowest level that the sinks or any capture want.
  static std::atomic<int> mLowestEnabledLevel;
};

/// Writes one log line at a level. The format string, a literal with "{}" placeholders, is checked when
/// compiled and gets the statement's own "(path:line) " in front; arguments are evaluated only when the level
/// is enabled.
#define LOG_AT(level, format, ...)                                                         \
  do {                                                                                     \
    if (Log::IsEnabled(level)) {                                                           \
      static constexpr auto logText = LogDetail::WithPosition(__FILE__, __LINE__, format); \
      Log::Write(level, logText.View() __VA_OPT__(, ) __VA_ARGS__);                        \
    }                                                                                      \
  } while (false)

#define LOG_TRACE(...) LOG_AT(Log::ELogLevel::Trace, __VA_ARGS__)
#define LOG_DEBUG(...) LOG_AT(Log::ELogLevel::Debug, __VA_ARGS__)
#define LOG_INFO(...) LOG_AT(Log::ELogLevel::Info, __VA_ARGS__)
#define LOG_WARNING(...) LOG_AT(Log::ELogLevel::Warning, __VA_ARGS__)
#define LOG_ERROR(...) LOG_AT(Log::ELogLevel::Error, __VA_ARGS__)
#define LOG_CRITICAL(...) LOG_AT(Log::ELogLevel::Critical, __VA_ARGS__)

/// The line that a component's operation writes on entry, with the operation's own name.
#define LOG_ENTRY_AT(level, className) LOG_AT(level, "{}::{}", className, __func__)
#define LOG_ENTRY(className) LOG_ENTRY_AT(Log::ELogLevel::Trace, className)
