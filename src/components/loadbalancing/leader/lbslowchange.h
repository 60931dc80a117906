#pragma once

#include <cstdint>
#include <optional>

#include "platform/worker/scheduler.h"

/// A value that follows another one at once in one direction; in the other, when that has been there for a
/// while, and then only as far as it was all the time. One thread.
class CLbSlowChange {
 public:
  enum class ESlow : std::uint8_t { Rise, Fall };

  constexpr CLbSlowChange(ESlow slow, Milliseconds lasting) : mSlow(slow), mLasting(lasting) {}

  /// Takes what the other value is from now on. The first one counts at once.
  std::uint32_t Take(std::uint32_t value, TimePoint now);
  /// The same, but it counts at once.
  std::uint32_t TakeAtOnce(std::uint32_t value);

 private:
  struct SChange {
    TimePoint since;
    std::uint32_t nearest;  ///< to where it comes from
  };

  ESlow mSlow;
  Milliseconds mLasting;
  std::optional<std::uint32_t> mValue;
  std::optional<SChange> mChange;  // which has not lasted yet
};
