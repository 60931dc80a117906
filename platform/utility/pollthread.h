#pragma once

#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "platform/utility/filedescriptor.h"
#include "platform/worker/scheduler.h"

/// A thread that waits for a descriptor to have something to read. It sleeps in the kernel otherwise.
class CPollThread {
 public:
  /// What to do when the descriptor is readable or the time asked for last is over. Answers the longest time
  /// to wait until the next call; nothing: until the descriptor is readable.
  using Handler = std::function<std::optional<Milliseconds>()>;

  /// The first wait is without limit of time. The descriptor must outlive the thread. Throws
  /// std::system_error when the system has no thread or descriptor left.
  CPollThread(const std::string& name, int descriptor, Handler handler);
  /// Ends the thread: the handler is not running any more then. Not to be called from the handler.
  ~CPollThread();
  CPollThread(const CPollThread&) = delete;
  CPollThread& operator=(const CPollThread&) = delete;

 private:
  void Run(int descriptor, const Handler& handler) const;

  const CFileDescriptor mEnd;
  std::thread mThread;
};
