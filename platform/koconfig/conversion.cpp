#include "platform/koconfig/conversion.h"

#include <cmath>
#include <limits>

#include <json/value.h>

namespace KoConfig::Conversion {

bool Convert(const Json::Value& value, bool& result) {
  if (!value.isBool()) return false;
  result = value.asBool();
  return true;
}

bool Convert(const Json::Value& value, std::uint32_t& result) {
  if (!value.isUInt()) return false;
  result = value.asUInt();
  return true;
}

bool Convert(const Json::Value& value, std::int32_t& result) {
  if (!value.isInt()) return false;
  result = value.asInt();
  return true;
}

bool Convert(const Json::Value& value, float& result) {
  if (!value.isNumeric()) return false;
  const double number = value.asDouble();
  if (!(std::abs(number) <= static_cast<double>(std::numeric_limits<float>::max()))) return false;
  result = static_cast<float>(number);
  return true;
}

bool Convert(const Json::Value& value, std::string& result) {
  if (!value.isString()) return false;
  result = value.asString();
  return true;
}

}  // namespace KoConfig::Conversion
