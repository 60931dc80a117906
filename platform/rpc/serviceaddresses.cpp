#include "platform/rpc/serviceaddresses.h"

#include <string_view>
#include <system_error>

#include <json/value.h>

#include "platform/log/log.h"
#include "platform/utility/jsontext.h"
#include "platform/utility/text.h"

namespace Rpc {

namespace {

constexpr std::string_view kUnixScheme = "unix:";
constexpr const char* kFile = "etc/kipc.json";
constexpr const char* kServicesKey = "Services";

/// The process that offers a service: "CurrentControlGenCtrl" is one of "CurrentControl".
std::string ProcessOf(std::string_view service) {
  for (const std::string_view ending : {"GenCtrl", "Log"}) {
    if (service.size() > ending.size() && service.ends_with(ending)) {
      service.remove_suffix(ending.size());
      break;
    }
  }
  return std::string(service);
}

std::filesystem::path Absolute(const std::filesystem::path& path) {
  std::error_code error;
  auto absolute = std::filesystem::absolute(path, error);
  return error ? path : absolute;
}

/// The file's "Services" object; an empty one, and a line saying why, when there is none.
Json::Value ReadServices(IFiles& files, const std::filesystem::path& path) {
  std::string content;
  if (const SFileError error = files.Read(path, content)) {
    if (error.kind != SFileError::EKind::Missing) {
      LOG_ERROR("{} cannot be read: {}; every service is expected at its default address", path.string(),
                error.reason);
    }
    return Json::objectValue;
  }
  Json::Value whole;
  if (const std::string reason = JsonText::ParseObject(content, whole); !reason.empty()) {
    LOG_ERROR("{} cannot be used: {}; every service is expected at its default address", path.string(),
              reason);
    return Json::objectValue;
  }
  for (const auto& key : whole.getMemberNames()) {
    if (key != kServicesKey)
      LOG_ERROR("{}: key \"{}\" is unknown and ignored", path.string(), Text::InOneLine(key));
  }
  if (!whole.isMember(kServicesKey)) return Json::objectValue;
  if (!whole[kServicesKey].isObject()) {
    LOG_ERROR("{}: \"{}\" is not an object; every service is expected at its default address", path.string(),
              kServicesKey);
    return Json::objectValue;
  }
  return whole[kServicesKey];
}

/// Unix sockets with absolute path, anything else as it is.
std::string WithAbsolutePath(const std::string& target, const std::filesystem::path& root) {
  if (!target.starts_with(kUnixScheme)) return target;
  std::string_view path = std::string_view(target).substr(kUnixScheme.size());
  if (path.starts_with("//")) path.remove_prefix(2);  // "unix:///run/x.sock"
  return std::string(kUnixScheme) + (root / path).string();
}

}  // namespace

CServiceAddresses::CServiceAddresses(IFiles& files, const std::filesystem::path& root)
    : mRoot(Absolute(root)) {
  const auto path = root / kFile;
  const Json::Value services = ReadServices(files, path);
  for (const auto& name : services.getMemberNames()) {
    const Json::Value& target = services[name];
    if (!target.isString() || target.asString().empty() || target.asString() == kUnixScheme) {
      LOG_ERROR("{}: the address of \"{}\" is not a text with an address; the default is used", path.string(),
                name);
    } else {
      mEntries[name] = WithAbsolutePath(target.asString(), mRoot);
    }
  }
}

std::string CServiceAddresses::Of(const std::string& service) {
  const std::string process = ProcessOf(service);
  const auto entry = mEntries.find(process);
  if (entry != mEntries.end()) {
    CMutexLock lock(mMutex);
    mUsed.insert(process);
    return entry->second;
  }
  return std::string(kUnixScheme) + (mRoot / "run/ipc" / (Text::ToLowerCase(process) + ".sock")).string();
}

void CServiceAddresses::WarnOfUnusedEntries() const {
  CMutexLock lock(mMutex);
  for (const auto& [name, target] : mEntries) {
    if (!mUsed.contains(name)) {
      LOG_WARNING("{}: no service \"{}\" is offered or called; its entry is not used",
                  (mRoot / kFile).string(), name);
    }
  }
}

}  // namespace Rpc
