#include "platform/utility/posixfiles.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <json/value.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "platform/koconfig/koconfig.h"
#include "platform/log/logcapture.h"
#include "platform/utility/filedescriptor.h"
#include "platform/utility/mutex.h"
#include "platform/utility/signalwatcher.h"
#include "platform/worker/realscheduler.h"

namespace {

namespace fs = std::filesystem;

/// Long enough for any machine; nothing here waits for it when all is well.
constexpr std::chrono::seconds kPatience{20};

class PosixFilesTest : public testing::Test {
 protected:
  PosixFilesTest() {
    std::string pattern = (fs::temp_directory_path() / "posixfiles.XXXXXX").string();
    folder = ::mkdtemp(pattern.data());
    fs::create_directory(folder / "etc");
  }
  ~PosixFilesTest() override { fs::remove_all(folder); }

  static void WriteInPlace(const fs::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
  }
  std::string Content(const fs::path& path) {
    std::string content;
    const SFileError error = files.Read(path, content);
    return error ? error.reason : content;
  }
  std::size_t FilesInFolder() const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder / "etc"), {}));
  }

  fs::path folder;
  CPosixFiles files;
};

TEST_F(PosixFilesTest, ReadsRegularFilesOnlyAndWaitsForNone) {
  const fs::path path = folder / "etc/file";
  std::string content;
  EXPECT_EQ(files.Read(path, content).kind, SFileError::EKind::Missing);
  EXPECT_EQ(Content(folder / "etc"), "it is a folder");
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(Content(path), "it is not a regular file");
  fs::remove(path);
  WriteInPlace(path, std::string(1024 * 1024, 'x'));
  EXPECT_EQ(Content(path).size(), 1024U * 1024U);
  WriteInPlace(path, std::string(1024 * 1024 + 1, 'x'));
  EXPECT_EQ(files.Read(path, content).kind, SFileError::EKind::TooLarge);
  EXPECT_GT(Content("/proc/self/maps").size(), 1000U) << "whose size is told as 0";
}

TEST_F(PosixFilesTest, TellsWhetherEveryoneMayReadAFile) {
  const fs::path path = folder / "etc/file";
  EXPECT_FALSE(files.IsReadableByOthers(path)) << "there is none";
  WriteInPlace(path, "{}");
  fs::create_symlink(path, folder / "etc/link");
  for (const ::mode_t mode : {0604U, 0640U, 0600U, 0755U}) {
    ASSERT_EQ(::chmod(path.c_str(), mode), 0);
    EXPECT_EQ(files.IsReadableByOthers(folder / "etc/link"), mode == 0604 || mode == 0755) << mode;
  }
}

TEST_F(PosixFilesTest, ReplacesAFileAndKeepsItsModeAndItsLink) {
  const fs::path path = folder / "etc/file";
  EXPECT_FALSE(files.Replace(folder / "new/folder/file", "1"));
  EXPECT_EQ(Content(folder / "new/folder/file"), "1");
  EXPECT_EQ(fs::status(folder / "new/folder/file").permissions(), fs::perms{0644});
  WriteInPlace(path, "old");
  fs::permissions(path, fs::perms{0640});
  fs::create_symlink("file", folder / "etc/link");
  EXPECT_FALSE(files.Replace(folder / "etc/link", "new"));
  EXPECT_EQ(Content(path), "new");
  EXPECT_EQ(fs::status(path).permissions(), fs::perms{0640});
  EXPECT_TRUE(fs::is_symlink(folder / "etc/link"));
  EXPECT_FALSE(files.Rename(path, folder / "etc/moved"));
  EXPECT_EQ(Content(folder / "etc/moved"), "new");
  EXPECT_TRUE(files.Rename(path, folder / "etc/moved"));

  fs::create_directory(path);
  EXPECT_EQ(files.Replace(path, "no").reason, "rename: Is a directory");
  EXPECT_EQ(FilesInFolder(), 3U) << "nothing is left beside the file, the link and the folder";
}

TEST_F(PosixFilesTest, UsesUpWhatAPowerCutLeftButNotWhatAnotherWrites) {
  const fs::path path = folder / "etc/file";
  const fs::path beside = folder / "etc/.file.new";
  WriteInPlace(beside, "longer than what follows");
  EXPECT_FALSE(files.Replace(path, "1"));
  EXPECT_EQ(Content(path), "1");
  EXPECT_EQ(FilesInFolder(), 1U);
  WriteInPlace(beside, "theirs");
  const CFileDescriptor other(::open(beside.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(::flock(other.Get(), LOCK_EX), 0);
  EXPECT_FALSE(files.Replace(path, "2"));
  EXPECT_EQ(Content(path), "2");
  EXPECT_EQ(Content(beside), "theirs");
  EXPECT_EQ(FilesInFolder(), 2U);
}

TEST_F(PosixFilesTest, ShowsNothingHalfWhoeverReplacesIt) {
  const fs::path path = folder / "etc/file";
  const auto write = [&](char letter) {
    for (int i = 0; i < 50; ++i) EXPECT_FALSE(CPosixFiles().Replace(path, std::string(20'000, letter)));
  };
  write('a');
  std::thread first(write, 'a');
  std::thread second(write, 'b');
  for (int i = 0; i < 500; ++i) {
    const std::string content = Content(path);
    ASSERT_EQ(content, std::string(20'000, content.front()));
  }
  first.join();
  second.join();
  EXPECT_EQ(FilesInFolder(), 1U);
}

/// A store over real files, and the value that its listener was told last.
class RealStoreTest : public PosixFilesTest {
 protected:
  void SetUp() override {
    store = KoConfig::Create(scheduler, files, path);
    store->AddListener("Test", "A", [this](const Json::Value& value) { Tell(value.asString()); });
  }
  void Tell(const std::string& value) {
    const CMutexLock lock(mutex);
    told = value;
    changed.notify_all();
  }
  bool IsTold(const std::string& value) {
    CMutexLock lock(mutex);
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (told != value) {
      if (changed.wait_until(lock, end) == std::cv_status::timeout) return false;
    }
    return true;
  }

  const fs::path path = folder / "a/b/settings.json";
  CLogCapture quiet{Log::ELogLevel::Critical};
  CRealScheduler scheduler;
  CMutex mutex;
  CCondition changed;
  std::string told GUARDED_BY(mutex);
  std::shared_ptr<KoConfig::IConfig> store;
};

TEST_F(RealStoreTest, SeesEveryWayInWhichAFileChanges) {
  fs::create_directories(folder / "a/b");
  WriteInPlace(path, R"({"A": "in a new folder"})");
  EXPECT_TRUE(IsTold("in a new folder"));
  EXPECT_EQ(store->GetString("A", ""), "in a new folder");
  WriteInPlace(path, R"({"A": "in place"})");
  EXPECT_TRUE(IsTold("in place"));
  WriteInPlace(folder / "a/b/other", R"({"A": "moved over it"})");
  fs::rename(folder / "a/b/other", path);
  EXPECT_TRUE(IsTold("moved over it"));
  fs::rename(folder / "a", folder / "elsewhere");
  EXPECT_TRUE(IsTold(""));
  fs::create_directories(folder / "prepared/b");
  WriteInPlace(folder / "prepared/b/settings.json", R"({"A": "folder moved here"})");
  fs::rename(folder / "prepared", folder / "a");
  EXPECT_TRUE(IsTold("folder moved here"));
  fs::remove_all(folder / "a");
  EXPECT_TRUE(IsTold(""));
  EXPECT_TRUE(store->SetString("A", "own"));
  EXPECT_TRUE(IsTold("own"));
  WriteInPlace(path, R"({"A": "after all that"})");
  EXPECT_TRUE(IsTold("after all that"));
}

TEST_F(RealStoreTest, KeepsABrokenFileAsPrivateAsItWas) {
  const fs::path broken = path.string() + ".broken";
  for (const std::string& content : {std::string("{"), std::string(1024 * 1024 + 1, '{')}) {
    EXPECT_TRUE(store->SetString("A", "good"));
    WriteInPlace(path, content);
    fs::permissions(path, fs::perms{0600});
    EXPECT_TRUE(store->SetBool("B", content.size() == 1));
    for (const auto& file : {path, broken})
      EXPECT_EQ(fs::status(file).permissions(), fs::perms{0600}) << file;
    fs::permissions(broken, fs::perms{0644});
  }
}

TEST_F(RealStoreTest, SeesWhatOthersWriteWhileAListenerRuns) {
  std::promise<void> entered;
  std::promise<void> leave;
  store->AddListener("Test", "B", [&](const Json::Value&) {
    entered.set_value();
    leave.get_future().wait();
  });
  store->SetBool("B", true);
  entered.get_future().wait();
  WriteInPlace(path, R"({"A": "by another", "B": true})");
  while (store->GetString("A", "") != "by another") std::this_thread::yield();
  leave.set_value();
  EXPECT_TRUE(IsTold("by another"));
}

TEST_F(RealStoreTest, LetsARunningListenerEndBeforeItIsRemoved) {
  std::promise<void> entered;
  std::atomic<bool> left{false};
  store->AddListener("Test", "B", [&](const Json::Value&) {
    entered.set_value();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // the remover is waiting by then
    left = true;
  });
  store->SetBool("B", true);
  entered.get_future().wait();
  store->RemoveListener("Test", "B");
  EXPECT_TRUE(left);
}

TEST(SignalWatcherTest, CallsBackForBothSignals) {
  std::atomic<int> told{0};
  const CSignalWatcher watcher([&](int signal) {
    told = signal;
    told.notify_all();
  });
  for (const int signal : {SIGTERM, SIGINT}) {
    const int before = told;
    ASSERT_EQ(::kill(::getpid(), signal), 0);
    told.wait(before);
    EXPECT_EQ(told, signal);
  }
}

}  // namespace
