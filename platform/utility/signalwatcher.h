#pragma once

#include <functional>

#include "platform/utility/filedescriptor.h"
#include "platform/utility/pollthread.h"

/// Turns SIGINT and SIGTERM into calls on a thread of its own.
///
/// Both signals are blocked in the thread that makes it, and stay blocked when it is gone, so that a second
/// signal does not cut an orderly end short. Threads inherit that: call `Block` in main before any other
/// thread exists, or make the watcher then.
class CSignalWatcher {
 public:
  /// Blocks both signals in this thread and in those that it starts from now on; what arrives waits for a
  /// watcher. Throws std::system_error.
  static void Block();

  /// The callback gets SIGINT or SIGTERM, each time one arrives. Throws std::system_error when the system has
  /// no descriptor or thread left.
  explicit CSignalWatcher(std::function<void(int signal)> callback);

 private:
  const CFileDescriptor mSignals;
  CPollThread mThread;
};
