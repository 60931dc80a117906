#include "tools/currentcontrolctl/controlcommands.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "ipc/genericcontrol.service.h"
#include "ipc/logconfig.service.h"

namespace {

constexpr std::string_view kControlService = "CurrentControlGenCtrl";
constexpr std::string_view kLogService = "CurrentControlLog";
using ControlClient = ipc::CGenericControlClient;
using LogClient = ipc::CLogConfigClient;

constexpr std::array<std::string_view, 6> kLevels{"trace", "debug", "info", "warning", "error", "critical"};

std::string LevelName(std::uint32_t level) {
  return level < kLevels.size() ? std::string(kLevels[level]) : fmt::format("level {}", level);
}

/// A name or its number.
std::optional<std::uint32_t> ParseLevel(const std::string& text) {
  for (std::uint32_t level = 0; level < kLevels.size(); ++level) {
    if (text == kLevels[level] || text == std::to_string(level)) return level;
  }
  return std::nullopt;
}

EExit Request(CSession& session, Rpc::SResult<ipc::MResult> (ControlClient::*request)(const ipc::MEmpty&)) {
  return session.AnswerResult(kControlService, session.Call(kControlService, request),
                              session.Word(0) + ": done");
}

EExit AnswerLevel(CSession& session, const ipc::MLogConfig& config) {
  Json::Value json;
  json["level"] = config.level();
  json["name"] = LevelName(config.level());
  json["console_logging"] = config.console_logging();
  return session.Answer(json, LevelName(config.level()));
}

}  // namespace

EExit Initialize(CSession& session) {
  return Request(session, &ControlClient::Initialize);
}
EExit Enable(CSession& session) {
  return Request(session, &ControlClient::Enable);
}
EExit Disable(CSession& session) {
  return Request(session, &ControlClient::Disable);
}
EExit Recover(CSession& session) {
  return Request(session, &ControlClient::Recover);
}
EExit Terminate(CSession& session) {
  return Request(session, &ControlClient::Terminate);
}
EExit Alive(CSession& session) {
  return Request(session, &ControlClient::Alive);
}

EExit State(CSession& session) {
  const auto answer = session.Call(kControlService, &ControlClient::GetState);
  if (!answer.IsOk()) return session.FailToReach(kControlService, answer.status, answer.detail);
  Json::Value json;
  json["number"] = static_cast<int>(answer.value.state());
  json["state"] = answer.value.state_name();
  json["enabled"] = answer.value.enabled();
  return session.Answer(json, fmt::format("{}, {}", answer.value.state_name(),
                                          answer.value.enabled() ? "enabled" : "not enabled"));
}

EExit LogLevel(CSession& session) {
  const bool toSet = session.Words() > 1;
  const auto level = toSet ? ParseLevel(session.Word(1)) : std::optional<std::uint32_t>(0);
  if (!level) {
    return session.Fail(EExit::Usage,
                        fmt::format("'{}' is no level: give trace, debug, info, warning, error or critical",
                                    session.Word(1)));
  }
  auto config = session.Call(kLogService, &LogClient::GetLogConfig);
  if (!config.IsOk()) return session.FailToReach(kLogService, config.status, config.detail);
  if (!toSet) return AnswerLevel(session, config.value);
  config.value.set_level(*level);
  return session.AnswerResult(kLogService, session.Call(kLogService, &LogClient::SetLogConfig, config.value),
                              "log-level: done");
}
