#pragma once

#include <string>
#include <string_view>

#include <json/value.h>

/// Between JSON text and values, for settings files.
namespace KoConfig::JsonText {

/// Parses a JSON object. Answers an empty text, or why it is none in one line with the parser's position;
/// `object` is not touched then. Nothing that the text may hold throws or needs much stack.
std::string ParseObject(std::string_view text, Json::Value& object);

/// The text of a settings file: indented, with a newline at its end, every number to its last digit.
std::string ToFile(const Json::Value& object);

/// A value as a log line shows it: in one line, in ASCII, and shortened.
std::string ToLog(const Json::Value& value);

}  // namespace KoConfig::JsonText
