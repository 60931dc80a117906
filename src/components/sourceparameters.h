#pragma once

#include <string>
#include <string_view>

#include <json/forwards.h>

/// Parameters of a meter: a JSON object that the settings hold as text. Any thread.
namespace SourceParameters {

/// An empty text gives an empty object; one that is no JSON object too, with an error line that names the
/// settings key.
Json::Value Parse(std::string_view key, const std::string& text);
/// The same, but false, and `params` not touched, for one that is no JSON object.
bool TryParse(std::string_view key, const std::string& text, Json::Value& params);

/// A member as text; empty when there is no such member or it has no text form. Never throws.
std::string TextOf(const Json::Value& params, const char* member);

/// The same with the member's name, given in lower case, in any case, and its text turned to lower case.
std::string LowerCaseTextOf(const Json::Value& params, std::string_view member);

}  // namespace SourceParameters
