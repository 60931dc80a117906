#include "platform/log/log.h"

#include <algorithm>
#include <cstdlib>

#include <cxxabi.h>
#include <fmt/format.h>
#include <spdlog/details/log_msg.h>
#include <spdlog/sinks/sink.h>

#include "platform/log/logcapture.h"
#include "platform/log/sinks.h"

namespace {

std::string& ProcessName() {
  static std::string name;
  return name;
}

/// Level of the two sinks, which move together.
std::atomic<int> sinkLevel{static_cast<int>(Log::ELogLevel::Info)};

spdlog::level::level_enum ToSinkLevel(Log::ELogLevel level) {
  return static_cast<spdlog::level::level_enum>(level);
}

}  // namespace

std::shared_ptr<spdlog::sinks::sink> Log::mSyslogSink;
std::shared_ptr<spdlog::sinks::sink> Log::mConsoleSink;
std::atomic<bool> Log::mConsoleLoggingEnabled{true};
std::atomic<int> Log::mLowestEnabledLevel{static_cast<int>(Log::ELogLevel::Info)};

void Log::Init(const std::string& processName, ELogLevel level) {
  ProcessName() = processName;
  mConsoleSink = LogDetail::CreateConsoleSink();
  mSyslogSink = LogDetail::CreateSyslogSink(processName);
  SetLogLevel(level);
}

void Log::SetLogLevel(ELogLevel level) {
  sinkLevel.store(static_cast<int>(level), std::memory_order_relaxed);
  if (mSyslogSink) mSyslogSink->set_level(ToSinkLevel(level));
  if (mConsoleSink) mConsoleSink->set_level(ToSinkLevel(level));
  mLowestEnabledLevel.store(std::min(static_cast<int>(level), CLogCapture::LowestWantedLevel()),
                            std::memory_order_relaxed);
}

Log::ELogLevel Log::GetLogLevel() {
  return static_cast<ELogLevel>(sinkLevel.load(std::memory_order_relaxed));
}

Log::ELogLevel Log::GetLowerLogLevel(ELogLevel level) {
  return static_cast<ELogLevel>(std::max(static_cast<int>(level) - 1, static_cast<int>(ELogLevel::Trace)));
}

void Log::EnableConsoleLogging(bool enable) {
  mConsoleLoggingEnabled.store(enable, std::memory_order_relaxed);
}

std::string Log::Demangle(const char* mangledName) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> readable(
      abi::__cxa_demangle(mangledName, nullptr, nullptr, &status), &std::free);
  return status == 0 ? std::string(readable.get()) : std::string(mangledName);
}

void Log::WriteChecked(ELogLevel level, fmt::string_view format, fmt::format_args arguments) {
  fmt::basic_memory_buffer<char, 256> text;
  fmt::vformat_to(std::back_inserter(text), format, arguments);

  if (const auto& capture = CLogCapture::OfThisThread()) {
    capture->Add(level, std::string_view(text.data(), text.size()));
    return;
  }
  const spdlog::details::log_msg message(ProcessName(), ToSinkLevel(level), {text.data(), text.size()});
  const auto writeTo = [&](const std::shared_ptr<spdlog::sinks::sink>& sink) {
    if (sink && sink->should_log(message.level)) sink->log(message);
  };
  writeTo(mSyslogSink);
  if (mConsoleLoggingEnabled.load(std::memory_order_relaxed)) writeTo(mConsoleSink);
}
