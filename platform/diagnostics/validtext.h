#pragma once

#include <string>
#include <string_view>

/// The text with a question mark for every byte that is no part of well-formed UTF-8: a message with any
/// other text in it cannot be read by its receiver.
std::string ValidText(std::string_view text);
