#pragma once

#include <cstdint>
#include <filesystem>

#include "platform/utility/filedescriptor.h"
#include "platform/utility/files.h"

/// An attribute that the kernel shows as a file of one unsigned decimal number. It is opened once; every read
/// and write starts at its beginning. One thread at a time.
class CAttributeFile {
 public:
  enum class EAccess { Read, Write, Both };

  /// Replaces what was open. After a failure nothing is.
  SFileError Open(const std::filesystem::path& path, EAccess access);
  bool IsOpen() const { return mDescriptor.IsOpen(); }

  /// Takes decimal digits between blanks and line ends, and nothing else. A file that was removed or replaced
  /// since it was opened is missing. A good read allocates nothing. On failure the value stays.
  SFileError Read(std::uint32_t& value) const;

  /// Fails like `Read`.
  SFileError Write(std::uint32_t value);

 private:
  CFileDescriptor mDescriptor;
};
