#pragma once

#include <cstdint>
#include <string>

#include <json/forwards.h>

/// What a JSON value means as a setting of a type. False: it is of another type or out of range, and `result`
/// is not touched.
namespace KoConfig::Conversion {

/// `true` and `false` only.
bool Convert(const Json::Value& value, bool& result);
/// Integral numbers from 0 to 2^32 - 1, also when written with a fraction of zero.
bool Convert(const Json::Value& value, std::uint32_t& result);
/// Integral numbers from -2^31 to 2^31 - 1, also when written with a fraction of zero.
bool Convert(const Json::Value& value, std::int32_t& result);
/// Any number that a float can hold, rounded to it.
bool Convert(const Json::Value& value, float& result);
bool Convert(const Json::Value& value, std::string& result);

}  // namespace KoConfig::Conversion
