#include "platform/koconfig/listeners.h"

#include <utility>

namespace KoConfig {

void CListeners::Add(const std::string& process, const std::string& key, Listener listener) {
  auto added = std::make_shared<const Listener>(std::move(listener));
  const CMutexLock lock(mMutex);
  mListeners[key].insert_or_assign(process, std::move(added));
}

void CListeners::Remove(const std::string& process, const std::string& key) {
  CMutexLock lock(mMutex);
  if (const auto ofKey = mListeners.find(key); ofKey != mListeners.end()) {
    ofKey->second.erase(process);
    if (ofKey->second.empty()) mListeners.erase(ofKey);
  }
  const auto removed = std::make_pair(process, key);
  while (mRunning == removed && mRunningOn != std::this_thread::get_id()) mEnded.wait(lock);
}

void CListeners::Notify(const std::string& key, const Json::Value& value) {
  for (const std::string& process : ProcessesOf(key)) {
    auto listener = Begin(process, key);
    if (!listener) continue;
    (*listener)(value);
    listener.reset();  // what a removed one holds goes before its remover is let go
    End();
  }
}

std::vector<std::string> CListeners::ProcessesOf(const std::string& key) {
  std::vector<std::string> processes;
  const CMutexLock lock(mMutex);
  const auto ofKey = mListeners.find(key);
  if (ofKey == mListeners.end()) return processes;
  for (const auto& [process, listener] : ofKey->second) processes.push_back(process);
  return processes;
}

std::shared_ptr<const CListeners::Listener> CListeners::Begin(const std::string& process,
                                                              const std::string& key) {
  const CMutexLock lock(mMutex);
  const auto ofKey = mListeners.find(key);
  if (ofKey == mListeners.end()) return nullptr;
  const auto found = ofKey->second.find(process);
  if (found == ofKey->second.end()) return nullptr;  // removed by a listener called before
  mRunning.emplace(process, key);
  mRunningOn = std::this_thread::get_id();
  return found->second;
}

void CListeners::End() {
  const CMutexLock lock(mMutex);
  mRunning.reset();
  mEnded.notify_all();
}

}  // namespace KoConfig
