#include "platform/modbus/hostlookup.h"

#include <array>
#include <chrono>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include <fmt/format.h>
#include <netdb.h>
#include <pthread.h>
#include <sys/socket.h>

#include "platform/utility/monotoniccondition.h"

namespace {

using AddressList = std::unique_ptr<addrinfo, void (*)(addrinfo*)>;

SHostAddresses Failure(const std::string& host, std::string_view reason) {
  return {.addresses = {}, .failure = fmt::format("looking \"{}\" up: {}", host, reason)};
}

}  // namespace

SHostAddresses ResolveHost(const std::string& host) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int error = ::getaddrinfo(host.c_str(), nullptr, &hints, &found);
  if (error != 0) return Failure(host, ::gai_strerror(error));
  const AddressList list(found, ::freeaddrinfo);
  SHostAddresses result;
  for (const addrinfo* each = list.get(); each != nullptr; each = each->ai_next) {
    std::array<char, NI_MAXHOST> text{};
    if (::getnameinfo(each->ai_addr, each->ai_addrlen, text.data(), text.size(), nullptr, 0,
                      NI_NUMERICHOST) == 0)
      result.addresses.emplace_back(text.data());
  }
  return result.addresses.empty() ? Failure(host, "it has no address") : result;
}

/// What the thread and its owner share; either may go first.
struct CHostLookUp::SRun {
  CMutex mutex;
  CMonotonicCondition done;
  std::optional<SHostAddresses> found GUARDED_BY(mutex);
};

CHostLookUp::CHostLookUp(std::string host, HostResolver resolve)
    : mHost(std::move(host)), mResolve(std::move(resolve)) {}

SHostAddresses CHostLookUp::Await(Milliseconds longest) {
  const TimePoint deadline = std::chrono::steady_clock::now() + longest;
  if (!mRun) {
    try {
      const auto begun = std::make_shared<SRun>();
      Start(begun, mHost, mResolve);
      mRun = begun;
    } catch (const std::system_error& error) {
      return Failure(mHost, error.what());
    }
  }
  SRun& run = *mRun;
  std::optional<SHostAddresses> found;
  {
    const CMutexLock lock(run.mutex);
    while (!run.found && std::chrono::steady_clock::now() < deadline) run.done.WaitUntil(run.mutex, deadline);
    found = std::exchange(run.found, std::nullopt);
  }
  if (!found) return Failure(mHost, fmt::format("no answer within {} ms", longest.count()));
  mRun.reset();
  return *std::move(found);
}

void CHostLookUp::Start(const std::shared_ptr<SRun>& run, const std::string& host,
                        const HostResolver& resolve) {
  std::thread thread([run, host, resolve] {
    SHostAddresses found = resolve(host);
    const CMutexLock lock(run->mutex);
    run->found = std::move(found);
    run->done.NotifyAll();
  });
  ::pthread_setname_np(thread.native_handle(), "hostlookup");
  thread.detach();
}
