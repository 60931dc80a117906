#pragma once

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

using Bytes = std::vector<std::uint8_t>;

/// Answers requests that come in over a descriptor, which it owns, with whatever bytes the script says.
class CScriptedUnit {
 public:
  using Script = std::function<Bytes(const Bytes& request)>;

  CScriptedUnit(int descriptor, std::size_t requestSize, Script script,
                std::chrono::milliseconds pauseBetweenBytes = {})
      : mDescriptor(descriptor), mThread([=, this, script = std::move(script)] {
          Bytes request;
          while (!mEnds) {
            pollfd waited{mDescriptor, POLLIN, 0};
            std::uint8_t byte = 0;
            if (::poll(&waited, 1, 10) <= 0 || ::read(mDescriptor, &byte, 1) != 1) continue;
            request.push_back(byte);
            if (request.size() < requestSize) continue;
            for (const std::uint8_t answer : script(std::exchange(request, {}))) {
              std::this_thread::sleep_for(pauseBetweenBytes);
              if (!Send(answer)) break;
            }
          }
        }) {}
  ~CScriptedUnit() {
    mEnds = true;
    mThread.join();
    ::close(mDescriptor);
  }

 private:
  /// What writes to a socket that the other side closed must not be killed for it.
  bool Send(std::uint8_t byte) const {
    const auto sent = ::send(mDescriptor, &byte, 1, MSG_NOSIGNAL);
    return sent == 1 || (errno == ENOTSOCK && ::write(mDescriptor, &byte, 1) == 1);
  }

  const int mDescriptor;
  std::atomic<bool> mEnds = false;
  std::thread mThread;
};
