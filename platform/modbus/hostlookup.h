#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/worker/scheduler.h"

/// What came of looking a host up.
struct SHostAddresses {
  std::vector<std::string> addresses;  ///< as numbers, in the order in which they are to be tried
  std::string failure;                 ///< for people; there are no addresses then
};

using HostResolver = std::function<SHostAddresses(const std::string& host)>;

/// Asks the system, which may take as long as its name servers let it. Any thread.
SHostAddresses ResolveHost(const std::string& host);

/// Looks a host up on a thread of its own, which is left behind when the name servers hang. One thread at a
/// time.
class CHostLookUp {
 public:
  explicit CHostLookUp(std::string host, HostResolver resolve);

  /// Waits as long at most. A look-up that takes longer goes on: the next call waits for it again, so that
  /// there is never more than one.
  SHostAddresses Await(Milliseconds longest);

 private:
  struct SRun;

  static void Start(const std::shared_ptr<SRun>& run, const std::string& host, const HostResolver& resolve);

  const std::string mHost;
  const HostResolver mResolve;
  std::shared_ptr<SRun> mRun;  // null: none under way
};
