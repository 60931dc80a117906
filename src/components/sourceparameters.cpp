#include "src/components/sourceparameters.h"

#include <json/value.h>

#include "platform/log/log.h"
#include "platform/utility/jsontext.h"
#include "platform/utility/text.h"

namespace SourceParameters {

Json::Value Parse(std::string_view key, const std::string& text) {
  Json::Value params(Json::objectValue);
  TryParse(key, text, params);
  return params;
}

bool TryParse(std::string_view key, const std::string& text, Json::Value& params) {
  if (text.empty()) return true;
  const std::string error = JsonText::ParseObject(text, params);
  if (!error.empty()) LOG_ERROR("Failed to get {}: {}", key, error);
  return error.empty();
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
    if (Text::ToLowerCase(name) == member) text = Text::ToLowerCase(TextOf(params, name.c_str()));
  }
  return text;
}

}  // namespace SourceParameters
