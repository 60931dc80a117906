#include "platform/utility/filewatch.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <system_error>
#include <utility>

#include <sys/inotify.h>
#include <unistd.h>

namespace {

/// The folder itself goes.
constexpr std::uint32_t kFolderGoes = IN_DELETE_SELF | IN_MOVE_SELF;
/// The next folder below may appear.
constexpr std::uint32_t kFolderAppears = kFolderGoes | IN_CREATE | IN_MOVED_TO | IN_ATTRIB;
/// The file changes. Its creation alone is no event: whoever creates it in place has not written it yet.
constexpr std::uint32_t kFileChanges =
    kFolderGoes | IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_ATTRIB;
/// How the kernel tells that a watched folder went.
constexpr std::uint32_t kFolderGone = kFolderGoes | IN_UNMOUNT | IN_IGNORED;

/// When the system has no watches left for us now.
constexpr Milliseconds kRetryPeriod{1000};

std::filesystem::path Resolved(const std::filesystem::path& path) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(path, error).lexically_normal();
  const std::filesystem::path resolved = std::filesystem::weakly_canonical(absolute, error);
  return error ? absolute : resolved;
}

CFileDescriptor OpenInotify() {
  CFileDescriptor inotify(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
  if (!inotify.IsOpen()) throw std::system_error(errno, std::generic_category(), "inotify");
  return inotify;
}

}  // namespace

CFileWatch::CFileWatch(const std::filesystem::path& path, std::function<void()> changed)
    : mPath(Resolved(path)),
      mChanged(std::move(changed)),
      mInotify(OpenInotify()),
      mArmed(ArmOrThrow()),
      mThread("file watch", mInotify.Get(), [this] { return HandleEvents(); }) {}

bool CFileWatch::ArmOrThrow() {
  const int error = Arm();
  if (error != 0) throw std::system_error(error, std::generic_category(), "inotify watch");
  return true;
}

int CFileWatch::Arm() {
  std::map<int, std::string> awaited;
  int error = 0;
  std::filesystem::path above;
  std::filesystem::path folder = mPath.root_path();
  const std::filesystem::path below = mPath.relative_path();
  for (auto name = below.begin(); name != below.end(); folder /= *name++) {
    // Each folder is watched for the next one before that one is looked for, so that none slips through.
    const bool last = std::next(name) == below.end();
    const int watch = AddWatch(folder, last ? kFileChanges : kFolderAppears);
    if (watch < 0 && (errno == ENOENT || errno == ENOTDIR)) break;
    error = watch < 0 ? errno : 0;
    if (watch < 0) continue;  // a folder that we may enter but not list, say; those below it count
    awaited.insert_or_assign(watch, name->string());
    // What else is created in a busy folder above need not wake us.
    if (!above.empty()) AddWatch(above, kFolderGoes);
    above = folder;
  }
  for (const auto& [watch, name] : mAwaited) {
    if (!awaited.contains(watch)) ::inotify_rm_watch(mInotify.Get(), watch);
  }
  mAwaited = std::move(awaited);
  return error;
}

int CFileWatch::AddWatch(const std::filesystem::path& folder, std::uint32_t events) const {
  return ::inotify_add_watch(mInotify.Get(), folder.c_str(), events | IN_ONLYDIR);
}

std::optional<Milliseconds> CFileWatch::HandleEvents() {
  const bool concerned = TakeEvents();
  if (!concerned && mArmed) return std::nullopt;
  // First the watches, then the callback: what happens from here on is an event again.
  mArmed = Arm() == 0;
  mChanged();
  return mArmed ? std::nullopt : std::optional(kRetryPeriod);
}

bool CFileWatch::TakeEvents() const {
  bool concerned = false;
  char events[4096];
  while (true) {
    const ssize_t count = ::read(mInotify.Get(), events, sizeof events);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return concerned;
    inotify_event event;
    for (const char* next = events; next < events + count; next += sizeof event + event.len) {
      std::memcpy(&event, next, sizeof event);
      const char* name = event.len > 0 ? next + sizeof event : "";
      concerned = concerned || Concerns(event.wd, event.mask, name);
    }
  }
}

bool CFileWatch::Concerns(int watch, std::uint32_t events, std::string_view name) const {
  if ((events & IN_Q_OVERFLOW) != 0) return true;
  const auto found = mAwaited.find(watch);
  if (found == mAwaited.end()) return false;  // said of a watch that was given up since
  return (events & kFolderGone) != 0 || name == found->second;
}
