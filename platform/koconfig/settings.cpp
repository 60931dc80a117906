#include "platform/koconfig/settings.h"

#include "platform/log/log.h"
#include "platform/utility/jsontext.h"

namespace KoConfig {

CSettings::Changes CSettings::Replace(const Json::Value& object) {
  Changes changes = Compare(object);
  const CWriterLock lock(mMutex);
  for (const auto& [key, value] : changes) {
    mSettings.erase(key);  // and with the old value its warning
    if (!value.isNull()) mSettings[key].value = value;
  }
  return changes;
}

CSettings::Changes CSettings::Compare(const Json::Value& object) const {
  Changes changes;
  const CReaderLock lock(mMutex);
  for (const auto& [key, setting] : mSettings) {
    if (object[key].isNull()) changes.emplace(key, Json::Value());
  }
  for (auto member = object.begin(); member != object.end(); ++member) {
    if (member->isNull()) continue;
    std::string key = member.name();
    const auto found = mSettings.find(key);
    if (found == mSettings.end() || found->second.value != *member) changes.emplace(std::move(key), *member);
  }
  return changes;
}

void CSettings::Warn(std::string_view key, const Json::Value& wrong, std::string_view used) const {
  LOG_WARNING("{}: \"{}\" has the value {}, which is of the wrong type or out of range; {} is used", mName,
              key, JsonText::ToLog(wrong), used);
}

}  // namespace KoConfig
