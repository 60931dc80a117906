#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>

#include <fmt/core.h>
#include <json/value.h>

#include "platform/koconfig/conversion.h"
#include "platform/utility/mutex.h"

namespace KoConfig {

/// The settings in force, in memory. A read is one look-up under one shared lock. Any thread.
class CSettings {
 public:
  /// Keys with their new values; null: the key is gone. In the keys' order, whatever the hash.
  using Changes = std::map<std::string, Json::Value>;

  /// The name is for log lines: the file that the settings come from.
  explicit CSettings(std::string name) : mName(std::move(name)) {}

  /// The value, or the default when there is none. A value of the wrong type gives the default as well, and a
  /// warning the first time since that value is in force.
  template <typename TValue>
  TValue Read(std::string_view key, TValue defaultValue) const {
    TValue result = std::move(defaultValue);
    Json::Value wrong;
    if (!Look(key, result, wrong)) Warn(key, wrong, ToText(result));
    return result;
  }

  /// Puts the object's members in force in place of all there is, and answers what that changed. A member
  /// that is null counts as absent. One thread at a time.
  Changes Replace(const Json::Value& object);

 private:
  struct SSetting {
    Json::Value value;
    mutable std::atomic<bool> warned{false};
  };
  struct SHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view key) const { return std::hash<std::string_view>{}(key); }
  };

  /// False: there is a value, but a wrong one that nobody was warned of yet.
  template <typename TValue>
  bool Look(std::string_view key, TValue& result, Json::Value& wrong) const {
    const CReaderLock lock(mMutex);
    const auto found = mSettings.find(key);
    if (found == mSettings.end() || Conversion::Convert(found->second.value, result)) return true;
    if (found->second.warned.exchange(true, std::memory_order_relaxed)) return true;
    wrong = found->second.value;
    return false;
  }
  template <typename TValue>
  static std::string ToText(const TValue& value) {
    return std::is_same_v<TValue, std::string> ? fmt::format("\"{}\"", value) : fmt::format("{}", value);
  }
  void Warn(std::string_view key, const Json::Value& wrong, std::string_view used) const;
  Changes Compare(const Json::Value& object) const;

  const std::string mName;
  mutable CSharedMutex mMutex;
  std::unordered_map<std::string, SSetting, SHash, std::equal_to<>> mSettings GUARDED_BY(mMutex);
};

}  // namespace KoConfig
