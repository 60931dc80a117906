#include "platform/koconfig/settingsfile.h"

#include <utility>

#include <fmt/core.h>

#include "platform/log/log.h"
#include "platform/utility/jsontext.h"

namespace KoConfig {

namespace {

std::filesystem::path WithEnding(std::filesystem::path path, const char* ending) {
  path += ending;
  return path;
}

}  // namespace

CSettingsFile::CSettingsFile(IFiles& files, std::filesystem::path path)
    : mFiles(files), mPath(std::move(path)), mBrokenPath(WithEnding(mPath, ".broken")) {}

bool CSettingsFile::Load() {
  std::string text;
  SFileError error = mFiles.Read(mPath, text);
  if (error) text.clear();
  if (mState != EState::Unknown && error.kind == mReadError.kind && error.reason == mReadError.reason &&
      text == mText) {
    return false;
  }
  mReadError = std::move(error);
  mText = std::move(text);
  Json::Value object(Json::objectValue);
  const std::string reason = mReadError ? mReadError.reason : JsonText::ParseObject(mText, object);
  Enter(StateOf(mReadError.kind, reason.empty()), reason);
  if (IsUsable()) mObject.swap(object);
  return true;
}

CSettingsFile::EState CSettingsFile::StateOf(SFileError::EKind kind, bool isObject) {
  switch (kind) {
    case SFileError::EKind::None:
      return isObject ? EState::Good : EState::Broken;
    case SFileError::EKind::Missing:
      return EState::Missing;
    case SFileError::EKind::TooLarge:
      return EState::TooLarge;
    case SFileError::EKind::Failed:
      break;
  }
  return EState::Unreadable;
}

void CSettingsFile::Enter(EState state, const std::string& reason) {
  const bool wasUsable = mState == EState::Unknown || IsUsable();
  const EState before = std::exchange(mState, state);
  if (!IsUsable()) {
    LOG_ERROR("{} cannot be used: {}; the last good values stay in force", mPath.string(), reason);
  } else if (!wasUsable) {
    LOG_INFO("{} can be used again", mPath.string());
  }
  if (state == EState::Missing && before != state) {
    LOG_INFO("{} is missing: every setting in it has its default", mPath.string());
  }
}

bool CSettingsFile::Save(const Json::Value& object) {
  if (mState == EState::Unreadable) return NoteSaving("it cannot be read: " + mReadError.reason);
  if (mState == EState::Good && object == mObject) return NoteSaving({});

  std::string text = JsonText::ToFile(object);
  if (std::string failure = Write(text); !failure.empty()) return NoteSaving(std::move(failure));
  mText = std::move(text);
  mReadError = {};
  mObject = object;
  Enter(EState::Good, {});
  return NoteSaving({});
}

/// Answers why it failed, or an empty text.
std::string CSettingsFile::Write(const std::string& text) {
  if (text.size() > IFiles::kLargestFile) return fmt::format("more than {} bytes", IFiles::kLargestFile);
  if (!IsUsable()) {
    if (const SFileError error = KeepBroken())
      return fmt::format("as {}: {}", mBrokenPath.string(), error.reason);
    LOG_WARNING("{} is kept as {}", mPath.string(), mBrokenPath.string());
  }
  if (mState != EState::TooLarge) return mFiles.Replace(mPath, text).reason;
  const SFileError error = mFiles.ReplaceLike(mBrokenPath, mPath, text);
  if (error) mFiles.Rename(mBrokenPath, mPath);
  return error.reason;
}

SFileError CSettingsFile::KeepBroken() {
  if (mState == EState::TooLarge) return mFiles.Rename(mPath, mBrokenPath);
  // A copy, because other processes that see the file missing would take it for an empty one.
  return mFiles.ReplaceLike(mPath, mBrokenPath, mText);
}

bool CSettingsFile::NoteSaving(std::string failure) {
  const bool changed = failure != mSaveFailure;
  mSaveFailure = std::move(failure);
  if (changed && mSaveFailure.empty()) LOG_INFO("{} can be written again", mPath.string());
  if (changed && !mSaveFailure.empty()) {
    LOG_ERROR("{} cannot be written: {}; what was set holds in memory until then", mPath.string(),
              mSaveFailure);
  }
  return mSaveFailure.empty();
}

}  // namespace KoConfig
