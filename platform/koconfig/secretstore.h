#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>

#include <json/value.h>

#include "platform/koconfig/koconfig.h"
#include "platform/utility/files.h"
#include "platform/utility/mutex.h"

namespace KoConfig {

/// A file with secrets. Nothing of it is kept in memory: every getter reads it anew, and wipes all but what
/// it answers, which is the caller's to wipe. Any thread; a read is as slow as the file.
class CSecretStore final : public IReadOnlyConfig {
 public:
  CSecretStore(IFiles& files, std::filesystem::path path);

  bool GetBool(std::string_view key, bool defaultValue) const override;
  std::uint32_t GetUnsigned(std::string_view key, std::uint32_t defaultValue) const override;
  std::int32_t GetSigned(std::string_view key, std::int32_t defaultValue) const override;
  float GetFloat(std::string_view key, float defaultValue) const override;
  std::string GetString(std::string_view key, std::string_view defaultValue) const override;

 private:
  enum class ECondition { Unknown, Good, Missing, Unusable };

  template <typename TValue>
  TValue Get(std::string_view key, TValue defaultValue) const;
  /// The file's text, and what a parser makes of it without its strings.
  void Load(std::string& text, Json::Value& object) const;
  void NoteWhoMayRead() const;
  void NoteCondition(ECondition condition, const std::string& reason) const;
  void NoteValue(std::string_view key, bool isGood) const;

  IFiles& mFiles;
  const std::filesystem::path mPath;
  mutable std::atomic<bool> mOthersMayRead{false};
  mutable CMutex mMutex;
  mutable ECondition mCondition GUARDED_BY(mMutex) = ECondition::Unknown;
  mutable std::string mReason GUARDED_BY(mMutex);
  mutable std::set<std::string, std::less<>> mWarned GUARDED_BY(mMutex);  // keys of values that are wrong
};

}  // namespace KoConfig
