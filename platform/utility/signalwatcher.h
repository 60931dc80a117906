#pragma once

#include <functional>

#include "platform/utility/filedescriptor.h"
#include "platform/utility/pollthread.h"

/// Turns SIGINT and SIGTERM into calls on a thread of its own.
///
/// Create it in main before any other thread exists: it blocks both signals in the calling thread, and
/// threads started later inherit that. They stay blocked when the watcher is gone, so that a second signal
/// does not cut an orderly end short.
class CSignalWatcher {
 public:
  /// The callback gets SIGINT or SIGTERM, each time one arrives. Throws std::system_error when the system has
  /// no descriptor or thread left.
  explicit CSignalWatcher(std::function<void(int signal)> callback);

 private:
  const CFileDescriptor mSignals;
  CPollThread mThread;
};
