#pragma once

#include <cstdint>
#include <optional>

/// A limit from outside, say of the grid's operator, for all that the station's supply feeds. Any thread.
class IPowerLimitInput {
 public:
  virtual ~IPowerLimitInput() = default;
  /// In mA on each phase; nothing: there is no limit now.
  virtual std::optional<std::uint32_t> GetLimit() const = 0;
};
