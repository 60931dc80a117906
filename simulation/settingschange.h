#pragma once

#include <filesystem>

#include <json/value.h>

#include "platform/utility/files.h"

/// Changes settings.json as another process does while current control runs: sets these keys and removes
/// those that are null, all at once; the others stay. What goes wrong, the log tells.
void ChangeSettings(IFiles& files, const std::filesystem::path& path, const Json::Value& values);
