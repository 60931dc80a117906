#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/utility/files.h"

/// The board's own file system. Any thread.
class CPosixFiles final : public IFiles {
 public:
  /// Reads regular files only, and never waits for one that is none (a FIFO, say).
  SFileError Read(const std::filesystem::path& path, std::string& content) override;
  bool IsReadableByOthers(const std::filesystem::path& path) override;
  /// A symbolic link stays one: the file that it leads to is replaced. The new file has the old one's owner
  /// and permissions; one that did not exist may be read by everyone and written by its owner.
  SFileError Replace(const std::filesystem::path& path, std::string_view content) override;
  /// Where there is no model, as `Replace` with a file that did not exist.
  SFileError ReplaceLike(const std::filesystem::path& model, const std::filesystem::path& path,
                         std::string_view content) override;
  SFileError Rename(const std::filesystem::path& from, const std::filesystem::path& to) override;
  /// One thread and one inotify instance for each watch.
  std::unique_ptr<IWatch> Watch(const std::filesystem::path& path, std::function<void()> changed,
                                SFileError& error) override;
};
