#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <json/value.h>

#include "platform/koconfig/koconfig.h"
#include "platform/utility/mutex.h"

/// A settings store without a file, writable or not. Any thread; listeners run on the thread that writes.
class CMemoryConfig final : public KoConfig::IConfig {
 public:
  using Listener = std::function<void(const Json::Value& value)>;

  CMemoryConfig() = default;
  explicit CMemoryConfig(std::map<std::string, Json::Value, std::less<>> values)
      : mValues(std::move(values)) {}

  /// As another process would: not counted as a write. Null removes the key.
  void Set(std::string_view key, const Json::Value& value) {
    std::vector<Listener> listeners;
    {
      CMutexLock lock(mMutex);
      if (value.isNull()) {
        mValues.erase(std::string(key));
      } else {
        mValues.insert_or_assign(std::string(key), value);
      }
      for (const auto& [processAndKey, listener] : mListeners) {
        if (processAndKey.second == key) listeners.push_back(listener);
      }
    }
    for (const auto& listener : listeners) listener(value);
  }

  /// Null when there is none.
  Json::Value Get(std::string_view key) const {
    CMutexLock lock(mMutex);
    const auto found = mValues.find(key);
    return found == mValues.end() ? Json::Value() : found->second;
  }

  /// The keys that were written through the interface, in order.
  std::vector<std::string> Writes() const {
    CMutexLock lock(mMutex);
    return mWrites;
  }

  bool HasListener(const std::string& process, const std::string& key) const {
    CMutexLock lock(mMutex);
    return mListeners.contains({process, key});
  }

  bool GetBool(std::string_view key, bool defaultValue) const override {
    return Read(key, defaultValue, &Json::Value::isBool, &Json::Value::asBool);
  }
  std::uint32_t GetUnsigned(std::string_view key, std::uint32_t defaultValue) const override {
    return Read(key, defaultValue, &Json::Value::isUInt, &Json::Value::asUInt);
  }
  std::int32_t GetSigned(std::string_view key, std::int32_t defaultValue) const override {
    return Read(key, defaultValue, &Json::Value::isInt, &Json::Value::asInt);
  }
  float GetFloat(std::string_view key, float defaultValue) const override {
    return Read(key, defaultValue, &Json::Value::isNumeric, &Json::Value::asFloat);
  }
  std::string GetString(std::string_view key, std::string_view defaultValue) const override {
    return Read(key, std::string(defaultValue), &Json::Value::isString, &Json::Value::asString);
  }

  bool SetBool(std::string_view key, bool value) override { return Write(key, value); }
  bool SetString(std::string_view key, std::string_view value) override {
    return Write(key, std::string(value));
  }

  void AddListener(const std::string& process, const std::string& key, Listener listener) override {
    CMutexLock lock(mMutex);
    mListeners[{process, key}] = std::move(listener);
  }
  void RemoveListener(const std::string& process, const std::string& key) override {
    CMutexLock lock(mMutex);
    mListeners.erase({process, key});
  }

 private:
  template <class TValue>
  TValue Read(std::string_view key, TValue defaultValue, bool (Json::Value::*isOfType)() const,
              TValue (Json::Value::*as)() const) const {
    CMutexLock lock(mMutex);
    const auto found = mValues.find(key);
    if (found == mValues.end() || !(found->second.*isOfType)()) return defaultValue;
    return (found->second.*as)();
  }

  bool Write(std::string_view key, const Json::Value& value) {
    {
      CMutexLock lock(mMutex);
      mWrites.emplace_back(key);
    }
    Set(key, value);
    return true;
  }

  mutable CMutex mMutex;
  std::map<std::string, Json::Value, std::less<>> mValues GUARDED_BY(mMutex);
  std::map<std::pair<std::string, std::string>, Listener> mListeners GUARDED_BY(mMutex);
  std::vector<std::string> mWrites GUARDED_BY(mMutex);
};
