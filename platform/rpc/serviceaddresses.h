#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <string>

#include "platform/utility/files.h"
#include "platform/utility/mutex.h"

namespace Rpc {

/// Where services are found: "etc/kipc.json" below the root, {"Services": {"<name>": "<target>"}}, or else
/// the unix socket run/ipc/<name in lower case>.sock below the root. A file or entry that is no good is one
/// error line, and the default is used. Any thread.
class CServiceAddresses {
 public:
  /// Reads the file once.
  CServiceAddresses(IFiles& files, const std::filesystem::path& root);

  /// The target of a service in gRPC's notation, unix sockets with absolute path. "CurrentControlGenCtrl" and
  /// "CurrentControlLog" are found where "CurrentControl" is.
  std::string Of(const std::string& service);

  /// One warning for each entry that nobody has asked for so far: most likely a misspelt name.
  void WarnOfUnusedEntries() const;

 private:
  const std::filesystem::path mRoot;
  std::map<std::string, std::string> mEntries;
  mutable CMutex mMutex;
  std::set<std::string> mUsed GUARDED_BY(mMutex);
};

}  // namespace Rpc
