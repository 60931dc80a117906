#pragma once

#include <string>
#include <string_view>
#include <utility>

#include <json/value.h>

#include "platform/koconfig/koconfig.h"

/// A settings store without a file: a JSON object. One thread.
class CMemorySettings final : public KoConfig::IReadOnlyConfig {
 public:
  explicit CMemorySettings(Json::Value values) : mValues(std::move(values)) {}

  /// Keys that are null go.
  void Change(const Json::Value& values) {
    for (const auto& key : values.getMemberNames()) {
      values[key].isNull() ? mValues.removeMember(key) : void(mValues[key] = values[key]);
    }
  }

  bool GetBool(std::string_view key, bool defaultValue) const override {
    const Json::Value* const value = Find(key);
    return value != nullptr && value->isBool() ? value->asBool() : defaultValue;
  }
  std::uint32_t GetUnsigned(std::string_view key, std::uint32_t defaultValue) const override {
    const Json::Value* const value = Find(key);
    return value != nullptr && value->isUInt() ? value->asUInt() : defaultValue;
  }
  std::int32_t GetSigned(std::string_view key, std::int32_t defaultValue) const override {
    const Json::Value* const value = Find(key);
    return value != nullptr && value->isInt() ? value->asInt() : defaultValue;
  }
  float GetFloat(std::string_view key, float defaultValue) const override {
    const Json::Value* const value = Find(key);
    return value != nullptr && value->isNumeric() ? value->asFloat() : defaultValue;
  }
  std::string GetString(std::string_view key, std::string_view defaultValue) const override {
    const Json::Value* const value = Find(key);
    return value != nullptr && value->isString() ? value->asString() : std::string(defaultValue);
  }

 private:
  const Json::Value* Find(std::string_view key) const {
    return mValues.find(key.data(), key.data() + key.size());
  }

  Json::Value mValues;
};
