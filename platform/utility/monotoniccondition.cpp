#include "platform/utility/monotoniccondition.h"

#include <ctime>
#include <system_error>

namespace {

void Check(int error) {
  if (error != 0) throw std::system_error(error, std::generic_category(), "condition");
}

// The steady clock of the standard library is CLOCK_MONOTONIC, and starts where that does.
timespec OnMonotonicClock(std::chrono::steady_clock::time_point moment) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(moment);
  const std::chrono::nanoseconds rest = moment - seconds;
  timespec time{};
  time.tv_sec = static_cast<decltype(time.tv_sec)>(seconds.time_since_epoch().count());
  time.tv_nsec = static_cast<decltype(time.tv_nsec)>(rest.count());
  return time;
}

}  // namespace

CMonotonicCondition::CMonotonicCondition() {
  pthread_condattr_t attributes;
  Check(pthread_condattr_init(&attributes));
  int error = pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
  if (error == 0) error = pthread_cond_init(&mCondition, &attributes);
  pthread_condattr_destroy(&attributes);
  Check(error);
}

void CMonotonicCondition::Wait(CMutex& mutex) {
  pthread_cond_wait(&mCondition, mutex.NativeHandle());
}

void CMonotonicCondition::WaitUntil(CMutex& mutex, std::chrono::steady_clock::time_point deadline) {
  const timespec time = OnMonotonicClock(deadline);
  pthread_cond_timedwait(&mCondition, mutex.NativeHandle(), &time);
}
