#include "simulation/settingschange.h"

#include <string>

#include "platform/koconfig/settingsfile.h"

void ChangeSettings(IFiles& files, const std::filesystem::path& path, const Json::Value& values) {
  KoConfig::CSettingsFile file(files, path);
  file.Load();
  Json::Value settings = file.Object();
  for (const std::string& key : values.getMemberNames()) {
    settings[key] = values[key];
    if (values[key].isNull()) settings.removeMember(key);
  }
  file.Save(settings);
}
