#include "tools/currentcontrolctl/session.h"

#include <fmt/format.h>
#include <json/writer.h>

EExit CSession::Fail(EExit exit, std::string_view text) {
  mErr << "currentcontrolctl: " << text << std::endl;
  return exit;
}

EExit CSession::FailToReach(std::string_view service, Rpc::EStatus status, const std::string& detail) {
  return Fail(EExit::Unreachable, fmt::format("{} cannot be reached: {}{}{}", service, Rpc::ToText(status),
                                              detail.empty() ? "" : ": ", detail));
}

EExit CSession::Answer(const Json::Value& json, std::string_view text) {
  if (IsJson()) {
    mOut << ToCompactText(json) << std::endl;
  } else {
    mOut << text << std::endl;
  }
  return EExit::Success;
}

std::string ToCompactText(const Json::Value& json) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, json);
}
