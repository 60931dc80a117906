#include "tools/currentcontrolctl/session.h"

#include <fmt/format.h>
#include <json/writer.h>

EExit CSession::Fail(EExit exit, std::string_view text) {
  Err() << "currentcontrolctl: " << text << std::endl;
  return exit;
}

EExit CSession::FailToReach(std::string_view service, Rpc::EStatus status, const std::string& detail) {
  return Fail(EExit::Unreachable, fmt::format("{} cannot be reached: {}{}{}", service, Rpc::ToText(status),
                                              detail.empty() ? "" : ": ", detail));
}

EExit CSession::AnswerResult(std::string_view service, const Rpc::SResult<ipc::MResult>& answer,
                             std::string_view done) {
  if (!answer.IsOk()) return FailToReach(service, answer.status, answer.detail);
  if (answer.value.code() != 0) {
    return Fail(EExit::Refused,
                fmt::format("{} says no to {} (code {})", service, Word(0), answer.value.code()));
  }
  Json::Value json;
  json["code"] = 0;
  return Answer(json, done);
}

EExit CSession::Answer(const Json::Value& json, std::string_view text) {
  if (IsJson()) {
    Out() << ToCompactText(json) << std::endl;
  } else {
    Out() << text << std::endl;
  }
  return EExit::Success;
}

std::string ToCompactText(const Json::Value& json) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, json);
}
