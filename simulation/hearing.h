#pragma once

#include <algorithm>
#include <cstdint>
#include <set>
#include <utility>
#include <vector>

/// What tells the stations on a medium apart, for whoever plays with it.
using MediumStation = std::uint32_t;

/// Who hears whom: everybody each other, until the medium falls into parts.
class CHearing {
 public:
  using Parts = std::vector<std::set<MediumStation>>;

  /// Those in the same part hear each other; whoever is in none hears nobody. No parts: the medium is whole.
  void Split(Parts parts) { mParts = std::move(parts); }

  bool Joins(MediumStation one, MediumStation other) const {
    return mParts.empty() || std::ranges::any_of(mParts, [&](const std::set<MediumStation>& part) {
             return part.contains(one) && part.contains(other);
           });
  }

 private:
  Parts mParts;
};
