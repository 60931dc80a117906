#pragma once

#include <cstddef>
#include <cstdint>
#include <random>

#include "platform/worker/scheduler.h"

/// Random numbers that a seed repeats on every machine: the standard's distributions may differ from library
/// to library, its engine may not. One thread.
class CRandom {
 public:
  explicit CRandom(std::uint64_t seed) : mEngine(seed) {}

  /// 0 to `count` - 1, each as likely; `count` is at least 1.
  std::uint64_t Below(std::uint64_t count) {
    // Draws above the last whole round of `count` would favour small numbers.
    const std::uint64_t surplus = (CEngine::max() % count + 1) % count;
    std::uint64_t draw = mEngine();
    while (draw > CEngine::max() - surplus) draw = mEngine();
    return draw % count;
  }

  /// A place in something of that size, which is at least 1.
  std::size_t Index(std::size_t size) { return static_cast<std::size_t>(Below(size)); }

  /// Both ends included; `low` is at most `high`, and they are less than 2^63 apart.
  std::int64_t Between(std::int64_t low, std::int64_t high) {
    return low + static_cast<std::int64_t>(Below(static_cast<std::uint64_t>(high - low) + 1));
  }

  /// A span of whole milliseconds, as above.
  Milliseconds Between(Milliseconds shortest, Milliseconds longest) {
    return Milliseconds(Between(shortest.count(), longest.count()));
  }

  /// True in `hits` of `tries` cases.
  bool Chance(std::uint64_t hits, std::uint64_t tries) { return Below(tries) < hits; }

 private:
  using CEngine = std::mt19937_64;
  CEngine mEngine;
};
