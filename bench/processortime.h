#pragma once

#include <chrono>
#include <ctime>

/// What the calling thread has used so far, whatever else runs on the machine.
inline std::chrono::nanoseconds ProcessorTimeOfThisThread() {
  timespec used{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
  return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}
