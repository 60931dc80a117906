#pragma once

#include <string>
#include <string_view>

#include <json/value.h>

#include "platform/utility/text.h"

/// Between JSON text and values: one strictness for whatever file or peer the text comes from.
namespace JsonText {

/// Parses a JSON object; comments are allowed. Answers an empty text, or why it is none in one line with the
/// parser's position, and with nothing else of a secret text; `object` is not touched then. Nothing that the
/// text may hold throws or needs much stack.
std::string ParseObject(std::string_view text, Json::Value& object,
                        Text::EContents contents = Text::EContents::Open);

/// The text of a settings file: indented, with a newline at its end, every number to its last digit.
std::string ToFile(const Json::Value& object);

/// JSON in one line, without blanks and comments.
std::string ToLine(const Json::Value& value);

/// A value as a log line shows it: in one line, in ASCII, and shortened.
std::string ToLog(const Json::Value& value);

}  // namespace JsonText
