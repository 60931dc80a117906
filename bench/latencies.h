#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

#include <benchmark/benchmark.h>

/// Collects the time that each turn took and reports its percentiles as counters p50_us and p99_us.
class CLatencies {
 public:
  using Clock = std::chrono::steady_clock;

  void Add(Clock::time_point from, Clock::time_point to) {
    mMicroseconds.push_back(std::chrono::duration<double, std::micro>(to - from).count());
  }

  void Report(benchmark::State& state) {
    std::sort(mMicroseconds.begin(), mMicroseconds.end());
    state.counters["p50_us"] = Percentile(50);
    state.counters["p99_us"] = Percentile(99);
  }

 private:
  double Percentile(std::size_t percent) const {
    return mMicroseconds.empty() ? 0.0 : mMicroseconds[(mMicroseconds.size() - 1) * percent / 100];
  }

  std::vector<double> mMicroseconds;
};
