#include "src/components/measurementsources/dumpfile.h"

#include "platform/log/log.h"

void DumpFile::Write(IFiles& files, const std::filesystem::path& path, std::string_view text,
                     std::string_view what) {
  if (const SFileError error = files.Replace(path, text)) {
    LOG_ERROR("Failed to open {} for writing.", path.string());
    LOG_DEBUG("{}", error.reason);
    return;
  }
  LOG_INFO("Dumping last received {} data in {}", what, path.string());
}
