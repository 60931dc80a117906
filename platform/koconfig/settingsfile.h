#pragma once

#include <filesystem>
#include <string>

#include <json/value.h>

#include "platform/utility/files.h"

namespace KoConfig {

/// A file that holds a JSON object: read again and again, written seldom. Every change of its condition is
/// logged once. One thread at a time.
class CSettingsFile {
 public:
  CSettingsFile(IFiles& files, std::filesystem::path path);

  /// Reads the file. False: it is as it was read or saved last.
  bool Load();
  /// What the file held when it was good last; a missing file is an empty object.
  const Json::Value& Object() const { return mObject; }

  /// Puts the object in the file. A file that is no JSON object is kept as "<name>.broken", with its
  /// permissions, first; one that cannot be read may be a good one, so it is not written over. False: the
  /// file is what it was before.
  bool Save(const Json::Value& object);

 private:
  enum class EState { Unknown, Good, Missing, Broken, TooLarge, Unreadable };

  static EState StateOf(SFileError::EKind kind, bool isObject);
  bool IsUsable() const { return mState == EState::Good || mState == EState::Missing; }
  void Enter(EState state, const std::string& reason);
  std::string Write(const std::string& text);
  SFileError KeepBroken();
  bool NoteSaving(std::string failure);

  IFiles& mFiles;
  const std::filesystem::path mPath;
  const std::filesystem::path mBrokenPath;
  EState mState = EState::Unknown;
  SFileError mReadError;  // of the last reading, as mText
  std::string mText;
  std::string mSaveFailure;  // of the last saving; empty when it was none
  Json::Value mObject{Json::objectValue};
};

}  // namespace KoConfig
