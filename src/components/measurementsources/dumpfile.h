#pragma once

#include <filesystem>
#include <string_view>

#include "platform/utility/files.h"

/// What was received last, for those who look for the reason of bad readings.
namespace DumpFile {

/// Replaces the file and tells it; `what` names the data. An error line when it cannot be written.
void Write(IFiles& files, const std::filesystem::path& path, std::string_view text, std::string_view what);

}  // namespace DumpFile
