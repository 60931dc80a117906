#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <json/value.h>

#include "platform/koconfig/koconfig.h"

/// The station's settings for somebody who must not change them: what is written is forgotten. Any thread.
class CUnwrittenSettings final : public KoConfig::IConfig {
 public:
  explicit CUnwrittenSettings(std::shared_ptr<KoConfig::IReadOnlyConfig> settings)
      : mSettings(std::move(settings)) {}

  bool GetBool(std::string_view key, bool defaultValue) const override {
    return mSettings->GetBool(key, defaultValue);
  }
  std::uint32_t GetUnsigned(std::string_view key, std::uint32_t defaultValue) const override {
    return mSettings->GetUnsigned(key, defaultValue);
  }
  std::int32_t GetSigned(std::string_view key, std::int32_t defaultValue) const override {
    return mSettings->GetSigned(key, defaultValue);
  }
  float GetFloat(std::string_view key, float defaultValue) const override {
    return mSettings->GetFloat(key, defaultValue);
  }
  std::string GetString(std::string_view key, std::string_view defaultValue) const override {
    return mSettings->GetString(key, defaultValue);
  }

  bool SetBool(std::string_view, bool) override { return true; }
  bool SetString(std::string_view, std::string_view) override { return true; }
  void AddListener(const std::string&, const std::string&, std::function<void(const Json::Value&)>) override {
  }
  void RemoveListener(const std::string&, const std::string&) override {}

 private:
  const std::shared_ptr<KoConfig::IReadOnlyConfig> mSettings;
};
