#pragma once

#include <string>
#include <string_view>

/// The JSON text of a file with secrets, so taken apart that no parser ever holds one: a parser's own copies
/// could not be wiped.
namespace KoConfig::SecretText {

/// The text with every string that is no key, and every comment, blotted out; all else keeps its place.
std::string Blotted(std::string_view text);

/// What a JSON string, quotes and all, says. False: it is none, and `result` is empty. The result is made in
/// one place on the heap: neither its making nor its moving leaves a copy behind.
bool Decode(std::string_view literal, std::string& result);

}  // namespace KoConfig::SecretText
