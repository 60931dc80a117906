#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

/// What a service tells of itself beside its address. It comes from anybody on the network.
namespace TxtRecord {

using Properties = std::map<std::string, std::string>;

inline constexpr std::size_t kMostProperties = 32;
inline constexpr std::size_t kLongestKey = 64;

/// Adds "key=value", or a key alone with an empty value. The key is turned to lower case. One that is there
/// already stays as it is; what has no key, or too long a one, and what is too many is left out.
void Add(std::string_view text, Properties& properties);

}  // namespace TxtRecord
