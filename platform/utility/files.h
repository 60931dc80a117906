#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

/// Outcome of a file operation; the error text is for people and names the system's reason.
struct SFileError {
  enum class EKind { None, Missing, TooLarge, Failed };
  EKind kind = EKind::None;
  std::string reason;

  explicit operator bool() const { return kind != EKind::None; }
};

/// The file system as the service uses it: small whole files that are read, replaced and watched.
/// The real one is `CPosixFiles`; `CMemoryFiles` in `simulation/` fails on demand. Any thread.
class IFiles {
 public:
  /// A file may be as large as this and no larger; settings are kilobytes.
  static constexpr std::uint32_t kLargestFile = 1024 * 1024;

  /// Gives the watching up when destroyed: the callback is not running any more then.
  class IWatch {
   public:
    virtual ~IWatch() = default;
  };

  virtual ~IFiles() = default;

  /// Reads a whole file. What was read stands in `content` alone, whose wiping leaves nothing of it.
  virtual SFileError Read(const std::filesystem::path& path, std::string& content) = 0;

  /// Whether all users of the system may read it, beyond its owner and its group. False where there is no
  /// file, or no such thing.
  virtual bool IsReadableByOthers(const std::filesystem::path& /*path*/) { return false; }

  /// Puts the content in the file's place so that a reader, or a power cut, sees the old or the new and
  /// nothing between: new file beside it, fsync, rename, fsync of the folder. Creates missing folders.
  virtual SFileError Replace(const std::filesystem::path& path, std::string_view content) = 0;

  /// Replaces a file in the same way by one with the owner and permissions of another. File systems that know
  /// of neither have nothing to add.
  virtual SFileError ReplaceLike(const std::filesystem::path& /*model*/, const std::filesystem::path& path,
                                 std::string_view content) {
    return Replace(path, content);
  }

  /// Renames within one folder, replacing what is there.
  virtual SFileError Rename(const std::filesystem::path& from, const std::filesystem::path& to) = 0;

  /// Calls back on a thread of its own soon after the file was written, replaced, removed or created. The
  /// folder may come and go too. Null, and a reason, when it cannot be watched.
  virtual std::unique_ptr<IWatch> Watch(const std::filesystem::path& path, std::function<void()> changed,
                                        SFileError& error) = 0;
};
