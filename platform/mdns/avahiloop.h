#pragma once

#include <memory>
#include <string>
#include <utility>

#include "platform/worker/scheduler.h"

struct AvahiClient;

/// What is done with a connection to avahi's daemon. All of it on the loop's thread.
class IAvahiUse {
 public:
  virtual ~IAvahiUse() = default;
  /// The daemon is there and ready.
  virtual void Begin(AvahiClient* client) = 0;
  /// It is not any more, or the client is about to go. Begins anew when the daemon is back.
  virtual void End() = 0;
};

/// A connection to avahi's daemon with a thread of its own: the library waits for the daemon in most of its
/// calls, and one that hangs must hold up nobody else. A daemon that goes away is waited for.
class CAvahiLoop {
 public:
  /// How long others wait for the thread, at most.
  static constexpr Milliseconds kPatience{1000};
  static constexpr Milliseconds kRetry{5000};

  /// Null, and a reason, when the daemon is not there or does not answer. Any thread.
  static std::unique_ptr<CAvahiLoop> Create(std::shared_ptr<IAvahiUse> use, std::string& reason);
  /// The use has ended when this returns, unless the daemon hangs: then it ends when the library gives up.
  ~CAvahiLoop();
  CAvahiLoop(const CAvahiLoop&) = delete;
  CAvahiLoop& operator=(const CAvahiLoop&) = delete;

 private:
  class CThread;

  explicit CAvahiLoop(std::shared_ptr<CThread> thread) : mThread(std::move(thread)) {}

  const std::shared_ptr<CThread> mThread;
};
