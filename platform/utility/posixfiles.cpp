#include "platform/utility/posixfiles.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/utility/filedescriptor.h"
#include "platform/utility/filewatch.h"
#include "platform/utility/wipe.h"

namespace {

constexpr mode_t kNewFileMode = 0644;
/// Until the file has the owner and permissions that it shall have.
constexpr mode_t kBesideMode = 0600;
constexpr mode_t kPermissionBits = 07777;

SFileError Failed(std::string reason) {
  return {SFileError::EKind::Failed, std::move(reason)};
}

/// The outcome of a system call that failed, from errno.
SFileError SystemError(const char* operation) {
  const int error = errno;
  const bool missing = error == ENOENT || error == ENOTDIR;
  return {missing ? SFileError::EKind::Missing : SFileError::EKind::Failed,
          fmt::format("{}: {}", operation, std::generic_category().message(error))};
}

SFileError TooLarge() {
  return {SFileError::EKind::TooLarge, fmt::format("it is larger than {} bytes", IFiles::kLargestFile)};
}

CFileDescriptor Open(const std::filesystem::path& path, int flags, mode_t mode = 0) {
  int descriptor = -1;
  do {
    descriptor = ::open(path.c_str(), flags | O_CLOEXEC, mode);
  } while (descriptor < 0 && errno == EINTR);
  return CFileDescriptor(descriptor);
}

/// Makes room, and leaves nothing behind in the old one.
void Enlarge(std::string& content) {
  std::string larger(2 * content.size(), '\0');
  std::ranges::copy(content, larger.begin());
  content.swap(larger);
  Wipe(larger);
}

SFileError ReadAll(int descriptor, std::size_t expected, std::string& content) {
  constexpr std::size_t kRoomToSpare = 64;  // for a file that is growing, and to see its end
  content.assign(expected + kRoomToSpare, '\0');
  std::size_t size = 0;
  while (true) {
    const ssize_t count = ::read(descriptor, content.data() + size, content.size() - size);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return SystemError("read");
    size += static_cast<std::size_t>(count);
    if (size > IFiles::kLargestFile) return TooLarge();
    if (count == 0) break;
    if (size == content.size()) Enlarge(content);
  }
  content.resize(size);
  return {};
}

SFileError WriteAll(int descriptor, std::string_view content) {
  while (!content.empty()) {
    const ssize_t count = ::write(descriptor, content.data(), content.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return SystemError("write");
    content.remove_prefix(static_cast<std::size_t>(count));
  }
  return {};
}

/// A file that is filled before it takes another's place.
struct SBeside {
  CFileDescriptor descriptor;
  std::string path;
};

/// Whether an open file is a regular one of ours that goes by that name.
bool IsOursAt(int descriptor, const std::string& path) {
  struct stat open {};
  struct stat named {};
  return ::fstat(descriptor, &open) == 0 && ::lstat(path.c_str(), &named) == 0 && S_ISREG(open.st_mode) &&
         open.st_uid == ::geteuid() && open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

/// Empty. The name is always the same, so that what a power cut leaves is used up by the next replacement;
/// its lock keeps others off that replace the same file at the same time, and they take another name. One who
/// got the lock late, when its owner had moved the file into place, must not touch it.
SBeside OpenBeside(const std::filesystem::path& folder, const std::filesystem::path& name) {
  SBeside usual{{}, (folder / fmt::format(".{}.new", name.string())).string()};
  usual.descriptor = Open(usual.path, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK, kBesideMode);
  const int descriptor = usual.descriptor.Get();
  if (usual.descriptor.IsOpen() && ::flock(descriptor, LOCK_EX | LOCK_NB) == 0 &&
      IsOursAt(descriptor, usual.path) && ::ftruncate(descriptor, 0) == 0) {
    return usual;
  }
  SBeside other{{}, usual.path + ".XXXXXX"};
  other.descriptor = CFileDescriptor(::mkostemp(other.path.data(), O_CLOEXEC));
  return other;
}

/// Makes the names in a folder safe from a power cut.
SFileError SyncFolder(const std::filesystem::path& folder) {
  const CFileDescriptor descriptor = Open(folder, O_RDONLY | O_DIRECTORY);
  if (!descriptor.IsOpen()) return SystemError("open folder");
  // Some file systems know no such thing and say EINVAL.
  if (::fsync(descriptor.Get()) != 0 && errno != EINVAL) return SystemError("fsync of the folder");
  return {};
}

/// Gives a new file the owner and permissions of another.
SFileError TakeOver(int descriptor, const std::filesystem::path& model) {
  struct stat status {};
  mode_t mode = kNewFileMode;
  if (::stat(model.c_str(), &status) == 0) {
    mode = status.st_mode & kPermissionBits;
    // Only the superuser may give files away; a file of our own will do for anyone else.
    const bool ours = status.st_uid == ::geteuid() && status.st_gid == ::getegid();
    if (!ours && ::fchown(descriptor, status.st_uid, status.st_gid) != 0 && errno != EPERM) {
      return SystemError("fchown");
    }
  }
  return ::fchmod(descriptor, mode) == 0 ? SFileError{} : SystemError("fchmod");
}

SFileError Fill(int descriptor, const std::filesystem::path& model, std::string_view content) {
  if (SFileError error = TakeOver(descriptor, model)) return error;
  if (SFileError error = WriteAll(descriptor, content)) return error;
  if (::fsync(descriptor) != 0) return SystemError("fsync");
  return {};
}

}  // namespace

SFileError CPosixFiles::Read(const std::filesystem::path& path, std::string& content) {
  // Without O_NONBLOCK the opening of a FIFO would wait for its writer.
  const CFileDescriptor descriptor = Open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (!descriptor.IsOpen()) return SystemError("open");
  struct stat status {};
  if (::fstat(descriptor.Get(), &status) != 0) return SystemError("fstat");
  if (S_ISDIR(status.st_mode)) return Failed("it is a folder");
  if (!S_ISREG(status.st_mode)) return Failed("it is not a regular file");
  if (status.st_size > static_cast<off_t>(kLargestFile)) return TooLarge();
  return ReadAll(descriptor.Get(), static_cast<std::size_t>(status.st_size), content);
}

bool CPosixFiles::IsReadableByOthers(const std::filesystem::path& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && (status.st_mode & S_IROTH) != 0;
}

SFileError CPosixFiles::Replace(const std::filesystem::path& path, std::string_view content) {
  return ReplaceLike(path, path, content);
}

SFileError CPosixFiles::ReplaceLike(const std::filesystem::path& model, const std::filesystem::path& path,
                                    std::string_view content) {
  std::error_code code;
  std::filesystem::path target = std::filesystem::weakly_canonical(path, code);
  if (code) target = path;
  const std::filesystem::path folder = target.has_parent_path() ? target.parent_path() : ".";
  std::filesystem::create_directories(folder, code);
  if (code) return Failed(fmt::format("create folder: {}", code.message()));

  const SBeside beside = OpenBeside(folder, target.filename());
  if (!beside.descriptor.IsOpen()) return SystemError("create");
  SFileError error = Fill(beside.descriptor.Get(), model, content);
  if (!error && ::rename(beside.path.c_str(), target.c_str()) != 0) error = SystemError("rename");
  if (error) {
    ::unlink(beside.path.c_str());
    return error;
  }
  return SyncFolder(folder);
}

SFileError CPosixFiles::Rename(const std::filesystem::path& from, const std::filesystem::path& to) {
  if (::rename(from.c_str(), to.c_str()) != 0) return SystemError("rename");
  return SyncFolder(to.has_parent_path() ? to.parent_path() : ".");
}

std::unique_ptr<IFiles::IWatch> CPosixFiles::Watch(const std::filesystem::path& path,
                                                   std::function<void()> changed, SFileError& error) {
  try {
    auto watch = std::make_unique<CFileWatch>(path, std::move(changed));
    error = {};
    return watch;
  } catch (const std::system_error& failure) {
    error = Failed(failure.what());
    return nullptr;
  }
}
