#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include <json/value.h>

#include "platform/koconfig/koconfig.h"
#include "platform/utility/mutex.h"

/// Settings of a meter that is tried: kept in memory, whatever is written to them. Any thread.
class CTrySettings final : public KoConfig::IConfig {
 public:
  using Texts = std::map<std::string, std::string, std::less<>>;

  explicit CTrySettings(Texts texts) : mTexts(std::move(texts)) {}

  bool GetBool(std::string_view, bool defaultValue) const override { return defaultValue; }
  std::uint32_t GetUnsigned(std::string_view, std::uint32_t defaultValue) const override {
    return defaultValue;
  }
  std::int32_t GetSigned(std::string_view, std::int32_t defaultValue) const override { return defaultValue; }
  float GetFloat(std::string_view, float defaultValue) const override { return defaultValue; }
  std::string GetString(std::string_view key, std::string_view defaultValue) const override {
    CMutexLock lock(mMutex);
    const auto found = mTexts.find(key);
    return found == mTexts.end() ? std::string(defaultValue) : found->second;
  }

  bool SetBool(std::string_view, bool) override { return true; }
  bool SetString(std::string_view key, std::string_view value) override {
    CMutexLock lock(mMutex);
    mTexts.insert_or_assign(std::string(key), std::string(value));
    return true;
  }

  void AddListener(const std::string&, const std::string&, std::function<void(const Json::Value&)>) override {
  }
  void RemoveListener(const std::string&, const std::string&) override {}

 private:
  mutable CMutex mMutex;
  Texts mTexts GUARDED_BY(mMutex);
};
