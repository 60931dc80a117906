#include "simulation/memoryfiles.h"

#include <utility>
#include <vector>

#include <fmt/core.h>

namespace {

std::string NameOf(const std::filesystem::path& path) {
  return path.lexically_normal().string();
}

SFileError Missing() {
  return {SFileError::EKind::Missing, "No such file or directory"};
}
SFileError Failed(std::string reason) {
  return {SFileError::EKind::Failed, std::move(reason)};
}

}  // namespace

struct CMemoryFiles::SWatcher {
  std::string name;
  std::function<void()> changed;
  int running = 0;  // guarded by the files' mutex
};

class CMemoryFiles::CWatch final : public IWatch {
 public:
  CWatch(CMemoryFiles& files, std::shared_ptr<SWatcher> watcher)
      : mFiles(files), mWatcher(std::move(watcher)) {}
  ~CWatch() override {
    CMutexLock lock(mFiles.mMutex);
    mFiles.mWatchers.remove(mWatcher);
    while (mWatcher->running > 0) mFiles.mCallReturned.wait(lock);
  }

 private:
  CMemoryFiles& mFiles;
  const std::shared_ptr<SWatcher> mWatcher;
};

CMemoryFiles::CMemoryFiles() = default;
CMemoryFiles::~CMemoryFiles() = default;

SFileError CMemoryFiles::Read(const std::filesystem::path& path, std::string& content) {
  CMutexLock lock(mMutex);
  const auto failure = mReadFailures.find(NameOf(path));
  if (failure != mReadFailures.end()) return Failed(failure->second);
  const auto found = mContents.find(NameOf(path));
  if (found == mContents.end()) return Missing();
  if (found->second.size() > kLargestFile) {
    return {SFileError::EKind::TooLarge, fmt::format("it is larger than {} bytes", kLargestFile)};
  }
  content = found->second;
  return {};
}

bool CMemoryFiles::IsReadableByOthers(const std::filesystem::path& path) {
  CMutexLock lock(mMutex);
  return mReadableByOthers.contains(NameOf(path));
}

SFileError CMemoryFiles::Replace(const std::filesystem::path& path, std::string_view content) {
  {
    CMutexLock lock(mMutex);
    if (!mReplaceFailure.empty()) return Failed(mReplaceFailure);
    ++mReplacements;
  }
  Store(NameOf(path), std::string(content));
  return {};
}

SFileError CMemoryFiles::Rename(const std::filesystem::path& from, const std::filesystem::path& to) {
  std::optional<std::string> content = Content(from);
  if (!content) return Missing();
  Store(NameOf(to), std::move(content));
  Store(NameOf(from), std::nullopt);
  return {};
}

std::unique_ptr<IFiles::IWatch> CMemoryFiles::Watch(const std::filesystem::path& path,
                                                    std::function<void()> changed, SFileError& error) {
  CMutexLock lock(mMutex);
  if (!mWatchFailure.empty()) {
    error = Failed(mWatchFailure);
    return nullptr;
  }
  error = {};
  mWatchers.push_back(std::make_shared<SWatcher>(SWatcher{NameOf(path), std::move(changed)}));
  return std::make_unique<CWatch>(*this, mWatchers.back());
}

void CMemoryFiles::Write(const std::filesystem::path& path, std::string content) {
  Store(NameOf(path), std::move(content));
}

void CMemoryFiles::Remove(const std::filesystem::path& path) {
  Store(NameOf(path), std::nullopt);
}

std::optional<std::string> CMemoryFiles::Content(const std::filesystem::path& path) const {
  CMutexLock lock(mMutex);
  const auto found = mContents.find(NameOf(path));
  return found == mContents.end() ? std::nullopt : std::optional<std::string>(found->second);
}

int CMemoryFiles::Replacements() const {
  CMutexLock lock(mMutex);
  return mReplacements;
}

void CMemoryFiles::FailReads(const std::filesystem::path& path, std::string reason) {
  {
    CMutexLock lock(mMutex);
    mReadFailures.erase(NameOf(path));
    if (!reason.empty()) mReadFailures.emplace(NameOf(path), std::move(reason));
  }
  CallWatchers(NameOf(path));
}

void CMemoryFiles::LetOthersRead(const std::filesystem::path& path, bool mayRead) {
  CMutexLock lock(mMutex);
  if (mayRead) {
    mReadableByOthers.insert(NameOf(path));
  } else {
    mReadableByOthers.erase(NameOf(path));
  }
}

void CMemoryFiles::FailReplacements(std::string reason) {
  CMutexLock lock(mMutex);
  mReplaceFailure = std::move(reason);
}

void CMemoryFiles::FailWatches(std::string reason) {
  CMutexLock lock(mMutex);
  mWatchFailure = std::move(reason);
}

void CMemoryFiles::Store(const std::string& name, std::optional<std::string> content) {
  {
    CMutexLock lock(mMutex);
    mContents.erase(name);
    if (content) mContents.emplace(name, std::move(*content));
  }
  CallWatchers(name);
}

void CMemoryFiles::CallWatchers(const std::string& name) {
  std::vector<std::shared_ptr<SWatcher>> called;
  {
    CMutexLock lock(mMutex);
    for (const auto& watcher : mWatchers) {
      if (watcher->name != name) continue;
      ++watcher->running;
      called.push_back(watcher);
    }
  }
  for (const auto& watcher : called) {
    watcher->changed();
    CMutexLock lock(mMutex);
    --watcher->running;
    mCallReturned.notify_all();
  }
}
