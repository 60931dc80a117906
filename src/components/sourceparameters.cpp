#include "src/components/sourceparameters.h"

#include <algorithm>
#include <exception>
#include <memory>

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include "platform/log/log.h"

namespace {

/// Deeper nesting is an error: parameters are flat, and threads of the board have small stacks.
constexpr int kDeepestNesting = 16;

std::unique_ptr<Json::CharReader> CreateReader() {
  Json::CharReaderBuilder builder;
  builder["collectComments"] = false;  // they would end up in what is written
  builder["failIfExtra"] = true;
  builder["stackLimit"] = kDeepestNesting;
  return std::unique_ptr<Json::CharReader>(builder.newCharReader());
}

/// The parser's message, for one log line.
std::string OnOneLine(std::string message) {
  std::ranges::replace(message, '\n', ' ');
  message.erase(message.find_last_not_of(' ') + 1);
  return message;
}

/// False, and the reason, when the text is no JSON object.
bool TryParse(const std::string& text, Json::Value& params, std::string& error) {
  try {
    if (!CreateReader()->parse(text.data(), text.data() + text.size(), &params, &error)) return false;
  } catch (const std::exception& exception) {
    error = exception.what();
    return false;
  }
  if (params.isObject()) return true;
  error = "not a JSON object";
  return false;
}

}  // namespace

namespace SourceParameters {

Json::Value Parse(std::string_view key, const std::string& text) {
  if (text.empty()) return Json::objectValue;
  Json::Value params;
  std::string error;
  if (TryParse(text, params, error)) return params;
  LOG_ERROR("Failed to get {}: {}", key, OnOneLine(std::move(error)));
  return Json::objectValue;
}

std::string ToText(const Json::Value& params) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, params);
}

std::string TextOf(const Json::Value& params, const char* member) {
  if (!params.isObject()) return {};
  const Json::Value& value = params[member];
  return value.isConvertibleTo(Json::stringValue) ? value.asString() : std::string();
}

std::string LowerCaseTextOf(const Json::Value& params, std::string_view member) {
  std::string text;
  if (!params.isObject()) return text;
  for (const std::string& name : params.getMemberNames()) {
    if (ToLowerCase(name) == member) text = ToLowerCase(TextOf(params, name.c_str()));
  }
  return text;
}

std::string ToLowerCase(std::string text) {
  std::ranges::transform(text, text.begin(), [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  });
  return text;
}

}  // namespace SourceParameters
