#include "platform/koconfig/store.h"

#include <utility>

#include "platform/koconfig/secretstore.h"
#include "platform/log/log.h"

namespace KoConfig {

namespace {

/// Where the system has no watch for us, changes of others are looked for this often.
constexpr Milliseconds kPollPeriod{5000};

}  // namespace

CStore::CStore(IScheduler& scheduler, IFiles& files, const std::filesystem::path& path, EUse use,
               ChangeCallback changed)
    : mChanged(std::move(changed)),
      mSettings(path.string()),
      mFile(files, path),
      mReloader(scheduler, path.filename().string()) {
  if (use == EUse::ReadAndWrite) mTeller.emplace(scheduler, path.stem().string() + " told").Start();
  Watch(files, path);  // before reading, so that no change falls between the two
  mFile.Load();
  mSettings.Replace(mFile.Object());
  mReloader.Start();
}

CStore::~CStore() {
  mWatch.reset();
  mReloader.Stop();
  if (mTeller) mTeller->Stop();
}

void CStore::Watch(IFiles& files, const std::filesystem::path& path) {
  SFileError error;
  mWatch = files.Watch(
      path, [this] { PostReload(); }, error);
  if (mWatch) return;
  LOG_WARNING("{} cannot be watched: {}; it is read every {} ms instead", path.string(), error.reason,
              kPollPeriod.count());
  mPolling = mReloader.AddCall([this] { Reload(); }, kPollPeriod, kPollPeriod);
}

bool CStore::GetBool(std::string_view key, bool defaultValue) const {
  return mSettings.Read(key, defaultValue);
}

std::uint32_t CStore::GetUnsigned(std::string_view key, std::uint32_t defaultValue) const {
  return mSettings.Read(key, defaultValue);
}

std::int32_t CStore::GetSigned(std::string_view key, std::int32_t defaultValue) const {
  return mSettings.Read(key, defaultValue);
}

float CStore::GetFloat(std::string_view key, float defaultValue) const {
  return mSettings.Read(key, defaultValue);
}

std::string CStore::GetString(std::string_view key, std::string_view defaultValue) const {
  return mSettings.Read(key, std::string(defaultValue));
}

bool CStore::SetBool(std::string_view key, bool value) {
  return Set(key, Json::Value(value));
}

bool CStore::SetString(std::string_view key, std::string_view value) {
  return Set(key, Json::Value(std::string(value)));
}

void CStore::AddListener(const std::string& process, const std::string& key,
                         std::function<void(const Json::Value& value)> listener) {
  mListeners.Add(process, key, std::move(listener));
}

void CStore::RemoveListener(const std::string& process, const std::string& key) {
  mListeners.Remove(process, key);
}

void CStore::PostReload() {
  // However often the file changes before the worker's turn, it is read once.
  if (mReloadPosted.exchange(true)) return;
  if (!mReloader.NonBlockingCall([this] { Reload(); })) mReloadPosted = false;
}

void CStore::Reload() {
  mReloadPosted = false;  // first: a change while we read is another one
  const CMutexLock lock(mFileMutex);
  TakeIn();
}

bool CStore::Set(std::string_view key, Json::Value value) {
  const CMutexLock lock(mFileMutex);
  TakeIn();
  mUnwritten[std::string(key)] = std::move(value);
  Publish();
  if (!mFile.Save(InForce())) return false;
  mUnwritten.clear();
  return true;
}

void CStore::TakeIn() {
  const Json::Value before = mUnwritten.empty() ? Json::Value(Json::objectValue) : mFile.Object();
  if (!mFile.Load()) return;
  for (const std::string& key : mUnwritten.getMemberNames()) {
    // Another process has set the key since we could not: the newest word counts.
    if (before[key] != mFile.Object()[key]) mUnwritten.removeMember(key);
  }
  Publish();
}

Json::Value CStore::InForce() const {
  Json::Value object = mFile.Object();
  for (auto member = mUnwritten.begin(); member != mUnwritten.end(); ++member)
    object[member.name()] = *member;
  return object;
}

void CStore::Publish() {
  CSettings::Changes changes = mSettings.Replace(InForce());
  if (changes.empty() || !mTeller) return;
  mTeller->NonBlockingCall([this, told = std::move(changes)] { Notify(told); });
}

void CStore::Notify(const CSettings::Changes& changes) {
  for (const auto& [key, value] : changes) {
    if (mChanged) mChanged(key, value);
    mListeners.Notify(key, value);
  }
}

std::shared_ptr<IConfig> Create(IScheduler& scheduler, IFiles& files, const std::filesystem::path& path,
                                ChangeCallback changed) {
  return std::make_shared<CStore>(scheduler, files, path, CStore::EUse::ReadAndWrite, std::move(changed));
}

std::shared_ptr<IReadOnlyConfig> CreateReadOnly(IScheduler& scheduler, IFiles& files,
                                                const std::filesystem::path& path, EContents contents) {
  if (contents == EContents::Secret) return std::make_shared<CSecretStore>(files, path);
  return std::make_shared<CStore>(scheduler, files, path, CStore::EUse::ReadOnly, ChangeCallback{});
}

}  // namespace KoConfig
