#pragma once

#include <map>
#include <string>
#include <string_view>

#include "platform/utility/mutex.h"

/// Which problems with settings are known by now: each is told when it comes, and not again while it lasts.
/// Any thread.
class CToldProblems {
 public:
  /// Whether the problem with a key's value is to be told: the key had none, or one with another value.
  bool IsNew(std::string_view key, std::string_view value) {
    const CMutexLock lock(mMutex);
    const auto found = mTold.find(key);
    if (found == mTold.end()) return mTold.emplace(key, value).second;
    if (found->second == value) return false;
    found->second = value;
    return true;
  }

  /// The key's value is good: its next problem is a new one.
  void Solved(std::string_view key) {
    const CMutexLock lock(mMutex);
    if (const auto found = mTold.find(key); found != mTold.end()) mTold.erase(found);
  }

 private:
  CMutex mMutex;
  std::map<std::string, std::string, std::less<>> mTold GUARDED_BY(mMutex);  // by key: the value
};
