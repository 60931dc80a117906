#pragma once

#include <filesystem>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "platform/utility/files.h"
#include "platform/utility/mutex.h"

/// Files in memory that fail on demand. A watch calls back on the thread that made the change, before that
/// change's call returns. Any thread.
class CMemoryFiles final : public IFiles {
 public:
  CMemoryFiles();
  ~CMemoryFiles() override;

  SFileError Read(const std::filesystem::path& path, std::string& content) override;
  bool IsReadableByOthers(const std::filesystem::path& path) override;
  SFileError Replace(const std::filesystem::path& path, std::string_view content) override;
  SFileError Rename(const std::filesystem::path& from, const std::filesystem::path& to) override;
  std::unique_ptr<IWatch> Watch(const std::filesystem::path& path, std::function<void()> changed,
                                SFileError& error) override;

  /// Writes as another process would: no failure on demand holds it up.
  void Write(const std::filesystem::path& path, std::string content);
  /// Removes as another process would.
  void Remove(const std::filesystem::path& path);
  /// What is in a file now; nothing when there is none.
  std::optional<std::string> Content(const std::filesystem::path& path) const;
  /// How often files were replaced through `Replace`.
  int Replacements() const;

  /// Reads of a file fail for this reason from now on; an empty reason: they work again. Watchers are called.
  void FailReads(const std::filesystem::path& path, std::string reason);
  /// Whether everyone may read a file; at first nobody but its owner and group.
  void LetOthersRead(const std::filesystem::path& path, bool mayRead);
  /// Every `Replace` fails for this reason ("No space left on device"); an empty reason: it works again.
  void FailReplacements(std::string reason);
  /// Nothing can be watched for this reason; an empty reason: it works again. Watches in being stay.
  void FailWatches(std::string reason);

 private:
  struct SWatcher;
  class CWatch;

  void Store(const std::string& name, std::optional<std::string> content);
  void CallWatchers(const std::string& name);

  mutable CMutex mMutex;
  CCondition mCallReturned;
  std::map<std::string, std::string> mContents GUARDED_BY(mMutex);
  std::map<std::string, std::string> mReadFailures GUARDED_BY(mMutex);
  std::set<std::string> mReadableByOthers GUARDED_BY(mMutex);
  std::string mReplaceFailure GUARDED_BY(mMutex);
  std::string mWatchFailure GUARDED_BY(mMutex);
  int mReplacements GUARDED_BY(mMutex) = 0;
  std::list<std::shared_ptr<SWatcher>> mWatchers GUARDED_BY(mMutex);
};
