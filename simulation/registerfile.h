#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

#include <sys/stat.h>

#include "platform/utility/filedescriptor.h"

/// One register of a modelled chip as a file that another process reads and writes in its own time. Every
/// text is as long as the one before, so that whoever holds the file open never finds it empty or cut. One
/// thread.
class CRegisterFile {
 public:
  /// Creates the file, or takes one over, with this value. Throws std::system_error, as everything below.
  CRegisterFile(const std::filesystem::path& path, std::uint32_t value);

  /// Writes the value, if the file does not hold it already.
  void Show(std::uint32_t value);
  /// What somebody else wrote since the last look; nothing when nobody did. What is no number is taken for 0.
  std::optional<std::uint32_t> Take();

 private:
  void Write(std::uint32_t value);
  timespec ChangedAt() const;

  CFileDescriptor mFile;
  std::uint32_t mValue = 0;  // in the file, as far as is known
  timespec mKnownChange{};
};
