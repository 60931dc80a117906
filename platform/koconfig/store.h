#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <json/value.h>

#include "platform/koconfig/koconfig.h"
#include "platform/koconfig/listeners.h"
#include "platform/koconfig/settings.h"
#include "platform/koconfig/settingsfile.h"
#include "platform/utility/files.h"
#include "platform/utility/mutex.h"
#include "platform/worker/worker.h"

namespace KoConfig {

/// A settings file, its settings in memory, and who is told of their changes.
///
/// Files are read and written under one mutex, which readers of settings never wait for; changes are told in
/// the order in which they came into force, on a worker of its own: what others write comes into force
/// however long a listener takes.
class CStore final : public IConfig {
 public:
  /// Nobody is told of the changes of a store that is only read.
  enum class EUse { ReadOnly, ReadAndWrite };

  CStore(IScheduler& scheduler, IFiles& files, const std::filesystem::path& path, EUse use,
         ChangeCallback changed);
  ~CStore() override;
  CStore(const CStore&) = delete;
  CStore& operator=(const CStore&) = delete;

  bool GetBool(std::string_view key, bool defaultValue) const override;
  std::uint32_t GetUnsigned(std::string_view key, std::uint32_t defaultValue) const override;
  std::int32_t GetSigned(std::string_view key, std::int32_t defaultValue) const override;
  float GetFloat(std::string_view key, float defaultValue) const override;
  std::string GetString(std::string_view key, std::string_view defaultValue) const override;

  bool SetBool(std::string_view key, bool value) override;
  bool SetString(std::string_view key, std::string_view value) override;

  void AddListener(const std::string& process, const std::string& key,
                   std::function<void(const Json::Value& value)> listener) override;
  void RemoveListener(const std::string& process, const std::string& key) override;

 private:
  void Watch(IFiles& files, const std::filesystem::path& path);
  void PostReload();
  void Reload();
  bool Set(std::string_view key, Json::Value value);
  /// Takes in what others did to the file.
  void TakeIn() REQUIRES(mFileMutex);
  /// The file's object with what could not be written yet.
  Json::Value InForce() const REQUIRES(mFileMutex);
  void Publish() REQUIRES(mFileMutex);
  void Notify(const CSettings::Changes& changes);

  const ChangeCallback mChanged;
  CSettings mSettings;
  CListeners mListeners;
  CMutex mFileMutex;
  CSettingsFile mFile GUARDED_BY(mFileMutex);
  Json::Value mUnwritten GUARDED_BY(mFileMutex){Json::objectValue};
  std::atomic<bool> mReloadPosted{false};
  CWorker mReloader;
  std::optional<CWorker> mTeller;  // none when there is nobody to tell
  CCallHandle mPolling;
  std::unique_ptr<IFiles::IWatch> mWatch;
};

}  // namespace KoConfig
