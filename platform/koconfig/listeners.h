#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <json/forwards.h>

#include "platform/utility/mutex.h"

namespace KoConfig {

/// Who wants to know of which key: one listener for each process and key. Any thread, but `Notify` from one
/// at a time.
class CListeners {
 public:
  using Listener = std::function<void(const Json::Value& value)>;

  /// Replaces the listener that the process had for the key.
  void Add(const std::string& process, const std::string& key, Listener listener);
  /// The listener is not running any more when this returns, except from inside the listener itself.
  void Remove(const std::string& process, const std::string& key);
  /// Calls the key's listeners in the order of their processes' names, without locks held.
  void Notify(const std::string& key, const Json::Value& value);

 private:
  using ByProcess = std::map<std::string, std::shared_ptr<const Listener>>;

  std::vector<std::string> ProcessesOf(const std::string& key);
  /// The listener, which counts as running until `End`; null when there is none any more.
  std::shared_ptr<const Listener> Begin(const std::string& process, const std::string& key);
  void End();

  CMutex mMutex;
  CCondition mEnded;
  std::map<std::string, ByProcess> mListeners GUARDED_BY(mMutex);                  // by key
  std::optional<std::pair<std::string, std::string>> mRunning GUARDED_BY(mMutex);  // process and key
  std::thread::id mRunningOn GUARDED_BY(mMutex);
};

}  // namespace KoConfig
