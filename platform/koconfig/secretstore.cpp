#include "platform/koconfig/secretstore.h"

#include <cstddef>
#include <utility>

#include "platform/koconfig/conversion.h"
#include "platform/koconfig/secrettext.h"
#include "platform/log/log.h"
#include "platform/utility/jsontext.h"
#include "platform/utility/wipe.h"

namespace KoConfig {

namespace {

template <typename TValue>
bool Take(const Json::Value& value, std::string_view /*text*/, TValue& result) {
  return Conversion::Convert(value, result);
}

bool Take(const Json::Value& value, std::string_view text, std::string& result) {
  if (!value.isString()) return false;
  const auto begin = static_cast<std::size_t>(value.getOffsetStart());
  const auto end = static_cast<std::size_t>(value.getOffsetLimit());
  std::string decoded;
  if (!SecretText::Decode(text.substr(begin, end - begin), decoded)) return false;
  result = std::move(decoded);
  return true;
}

}  // namespace

CSecretStore::CSecretStore(IFiles& files, std::filesystem::path path)
    : mFiles(files), mPath(std::move(path)) {
  NoteWhoMayRead();
}

bool CSecretStore::GetBool(std::string_view key, bool defaultValue) const {
  return Get(key, defaultValue);
}

std::uint32_t CSecretStore::GetUnsigned(std::string_view key, std::uint32_t defaultValue) const {
  return Get(key, defaultValue);
}

std::int32_t CSecretStore::GetSigned(std::string_view key, std::int32_t defaultValue) const {
  return Get(key, defaultValue);
}

float CSecretStore::GetFloat(std::string_view key, float defaultValue) const {
  return Get(key, defaultValue);
}

std::string CSecretStore::GetString(std::string_view key, std::string_view defaultValue) const {
  return Get(key, std::string(defaultValue));
}

template <typename TValue>
TValue CSecretStore::Get(std::string_view key, TValue defaultValue) const {
  std::string text;
  const CWipeAtEnd wipe(text);
  Json::Value object(Json::objectValue);
  Load(text, object);
  TValue result = std::move(defaultValue);
  const Json::Value* const value = object.find(key.data(), key.data() + key.size());
  NoteValue(key, value == nullptr || value->isNull() || Take(*value, text, result));
  return result;  // where it was made: that is the only place
}

void CSecretStore::Load(std::string& text, Json::Value& object) const {
  NoteWhoMayRead();
  if (const SFileError error = mFiles.Read(mPath, text)) {
    const bool isMissing = error.kind == SFileError::EKind::Missing;
    return NoteCondition(isMissing ? ECondition::Missing : ECondition::Unusable, error.reason);
  }
  std::string blotted = SecretText::Blotted(text);
  const CWipeAtEnd wipe(blotted);  // what is no JSON may be a secret wherever it stands
  const std::string reason = JsonText::ParseObject(blotted, object, EContents::Secret);
  NoteCondition(reason.empty() ? ECondition::Good : ECondition::Unusable, reason);
}

void CSecretStore::NoteWhoMayRead() const {
  const bool mayRead = mFiles.IsReadableByOthers(mPath);
  if (mOthersMayRead.exchange(mayRead) || !mayRead) return;
  LOG_WARNING(
      "{} holds secrets and can be read by every user of this system: take that from them, \"chmod 600 {}\"",
      mPath.string(), mPath.string());
}

void CSecretStore::NoteCondition(ECondition condition, const std::string& reason) const {
  const CMutexLock lock(mMutex);
  if (condition == mCondition && reason == mReason) return;
  const ECondition before = std::exchange(mCondition, condition);
  mReason = reason;
  if (condition == ECondition::Unusable) {
    LOG_ERROR("{} cannot be used: {}; every secret in it counts as missing", mPath.string(), reason);
  } else if (condition == ECondition::Missing) {
    LOG_INFO("{} is missing, and every secret in it", mPath.string());
  } else if (before != ECondition::Unknown) {
    LOG_INFO("{} can be used again", mPath.string());
  }
}

void CSecretStore::NoteValue(std::string_view key, bool isGood) const {
  const CMutexLock lock(mMutex);
  const auto warned = mWarned.find(key);
  if (isGood) {
    if (warned != mWarned.end()) mWarned.erase(warned);
  } else if (warned == mWarned.end()) {
    mWarned.emplace(key);
    LOG_WARNING(
        "{}: \"{}\" has a value (not shown) that is of the wrong type or out of range; it counts as missing",
        mPath.string(), key);
  }
}

}  // namespace KoConfig
