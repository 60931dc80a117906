#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/utility/filedescriptor.h"
#include "platform/utility/files.h"
#include "platform/utility/pollthread.h"

/// Watches one file by inotify, on a thread of its own.
///
/// A file that is replaced by a rename is another file, so its folder is watched and not the file. Every
/// folder above it is watched too, for being renamed or removed; the lowest one that exists tells when the
/// next one appears.
class CFileWatch final : public IFiles::IWatch {
 public:
  /// Links in the path are followed once, here. Throws std::system_error when the system has no watch, thread
  /// or descriptor left.
  CFileWatch(const std::filesystem::path& path, std::function<void()> changed);

 private:
  bool ArmOrThrow();
  /// Watches the folders as they are now. Answers 0, or the system's error for the lowest that exists.
  int Arm();
  /// Negative, and errno, when it cannot be watched.
  int AddWatch(const std::filesystem::path& folder, std::uint32_t events) const;
  std::optional<Milliseconds> HandleEvents();
  /// Reads what has happened; true when any of it may concern the file.
  bool TakeEvents() const;
  bool Concerns(int watch, std::uint32_t events, std::string_view name) const;

  const std::filesystem::path mPath;
  const std::function<void()> mChanged;
  const CFileDescriptor mInotify;
  std::map<int, std::string> mAwaited;  // by watch: the name below that folder that matters
  bool mArmed;
  CPollThread mThread;
};
