#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include <json/forwards.h>

#include "platform/utility/files.h"
#include "platform/utility/text.h"
#include "platform/worker/scheduler.h"

/// Settings stores: a JSON object in a file, read from memory and kept up to date while other processes write
/// it.
namespace KoConfig {

/// Reads. Every getter gives the default when the key is absent; a value of the wrong type gives the default
/// too, and one warning for the key. Any thread; a read of a number or boolean allocates nothing.
class IReadOnlyConfig {
 public:
  virtual ~IReadOnlyConfig() = default;

  virtual bool GetBool(std::string_view key, bool defaultValue) const = 0;
  virtual std::uint32_t GetUnsigned(std::string_view key, std::uint32_t defaultValue) const = 0;
  virtual std::int32_t GetSigned(std::string_view key, std::int32_t defaultValue) const = 0;
  virtual float GetFloat(std::string_view key, float defaultValue) const = 0;
  virtual std::string GetString(std::string_view key, std::string_view defaultValue) const = 0;
};

/// Called with a key and its new value (null when the key is gone) on a worker that the store has for that,
/// without locks held: it may take its time.
using ChangeCallback = std::function<void(const std::string& key, const Json::Value& value)>;

/// Reads, writes and change notification.
class IConfig : public virtual IReadOnlyConfig {
 public:
  /// Writes are in the file, safe from a power cut, when these return true; false and one error line when the
  /// file could not be written: the value holds in memory then and is written with the next write. Any
  /// thread.
  virtual bool SetBool(std::string_view key, bool value) = 0;
  virtual bool SetString(std::string_view key, std::string_view value) = 0;

  /// Lets a process's listener know of changes of one key, from this process or another. One listener for
  /// each process and key: a second one replaces the first.
  virtual void AddListener(const std::string& process, const std::string& key,
                           std::function<void(const Json::Value& value)> listener) = 0;
  /// The listener is not running any more when this returns, except from inside the listener itself.
  virtual void RemoveListener(const std::string& process, const std::string& key) = 0;
};

/// Opens a store. A missing file is an empty store; a file that is not a JSON object is an error line, and
/// the last good values (none, at first) stay in force. `changed` is told every key that changes after the
/// store was opened.
std::shared_ptr<IConfig> Create(IScheduler& scheduler, IFiles& files, const std::filesystem::path& path,
                                ChangeCallback changed = {});

using Text::EContents;

/// Opens a store that this process never writes. Of a secret one no log line shows anything, and nothing
/// stays in memory: every getter reads the file, and what it answers is the caller's to wipe.
std::shared_ptr<IReadOnlyConfig> CreateReadOnly(IScheduler& scheduler, IFiles& files,
                                                const std::filesystem::path& path,
                                                EContents contents = EContents::Open);

}  // namespace KoConfig
